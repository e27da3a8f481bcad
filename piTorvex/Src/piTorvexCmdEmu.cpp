#include "piTorvexCmdEmu.h"

#include "piTorvex.h"

#include <algorithm>
#include <array>
#include <bit>
#include <locale>
#include <string_view>
#include <type_traits>
#include <utility>

#include <boost/algorithm/string/predicate.hpp>
#include <boost/optional.hpp>
#include <rapidjson/document.h>

#include <TLXX/System.h>

namespace NAMESPACE_piTorvex {
namespace {

constexpr const char* TRACE_FILE = "piTorvex/Src/piTorvexCmdEmu";

// --- Command lines -----------------------------------------------------------------------------

constexpr int COMMAND_RAN = 1;  // of ExecuteCommand; anything else is a failure

constexpr const char* INVENTORY_ARGUMENTS = "show -all -o json -torvex";
constexpr const char* VERSION_ARGUMENTS = "version -o json";
constexpr const char* FORMAT_ARGUMENTS =
    "start -f -torvex %d Function=nvmeformat LBAFormat=0 SecureEraseSetting=0 "
    "ProtectionInformation=0 MetadataSetting=0 2>&1";
constexpr const char* DELETE_ARGUMENTS = "delete -f -torvex %d 2>&1";
// A setting begins with the delete command and is glued to the index. That is how it is meant to
// be, as is the missing "2>&1".
constexpr const char* SET_ARGUMENTS = "delete -f -torvex %d";

struct CSettingForm {
  int m_Kind;
  const char* m_Form;  // of the name, and of the value where there is one
  bool m_HasValue;
};
constexpr auto SETTING_FORMS = std::to_array<CSettingForm>({
    {1, "%s=%dGB", true},
    {2, "%s=X%d", true},
    {3, "%s=%d", true},
    {4, "%s=native", false},
});

constexpr const char* NO_DEVICE = "No device selected";
constexpr const char* BAD_INDEX = "Error: Given drive index is invalid.";
constexpr const char* SUCCESS_WORD = "successful";  // "unsuccessful" holds it as well: it counts

struct CLogPage {
  int m_Id;
  const char* m_Arguments;
  void (*m_Read)(const rapidjson::Value&, CCmdEmuGetlog&);
};
constexpr int LOG_ATTRIBUTES = 202;
// In the order in which they are asked for.
constexpr auto LOG_PAGES = std::to_array<CLogPage>({
    {2, "show -o json -torvex %d -nvmelog SmartHealthInfo", ReadHealthLog},
    {197, "show -o json -torvex %d -nvmelog TemperatureStatistics", ReadTemperatureLog},
    {LOG_ATTRIBUTES, "show -o json -smart -torvex %d", ReadAttributeLog},
    {203, "show -all -o json -torvex %d", ReadCapacityLog},
});

bool Contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

std::string SettingText(const std::string& name, int kind, int value) {
  const auto row = std::ranges::find(SETTING_FORMS, kind, &CSettingForm::m_Kind);
  if (row == SETTING_FORMS.end()) return "";
  return row->m_HasValue ? FormatText(row->m_Form, name, value) : FormatText(row->m_Form, name);
}

bool ReportsSuccess(const std::string& line) {
  return Contains(line, SUCCESS_WORD);
}

// --- Kinds of value: which JSON values are taken, and what they are stored as --------------------

template <class Read>
struct CStoredAsRead {
  static Read Stored(Read&& read) { return std::move(read); }
};

struct CInteger : CStoredAsRead<int> {
  static bool Accepts(const rapidjson::Value& value) { return value.IsInt(); }
  static int Read(const rapidjson::Value& value) { return value.GetInt(); }
};

struct CUnsigned : CStoredAsRead<unsigned int> {
  static bool Accepts(const rapidjson::Value& value) { return value.IsUint(); }
  static unsigned int Read(const rapidjson::Value& value) { return value.GetUint(); }
};

struct CUnsigned64 : CStoredAsRead<unsigned long> {
  static bool Accepts(const rapidjson::Value& value) { return value.IsUint64(); }
  static unsigned long Read(const rapidjson::Value& value) { return value.GetUint64(); }
};

struct CBoolean : CStoredAsRead<bool> {
  static bool Accepts(const rapidjson::Value& value) { return value.IsBool(); }
  static bool Read(const rapidjson::Value& value) { return value.GetBool(); }
};

// Up to the first NUL.
struct CText : CStoredAsRead<std::string> {
  static bool Accepts(const rapidjson::Value& value) { return value.IsString(); }
  static std::string Read(const rapidjson::Value& value) { return value.GetString(); }
};

struct CHexadecimal : CStoredAsRead<unsigned long> {
  static bool Accepts(const rapidjson::Value& value) { return value.IsString(); }
  static unsigned long Read(const rapidjson::Value& value) {
    return HexadecimalToNumber(value.GetString());
  }
};

// An integer that becomes the one character with that code (low 8 bits): 10 is a line feed and not
// the digits "10". Meant to be so.
struct CCharacterCode : CInteger {
  static std::string Stored(int read) { return std::string(1, static_cast<char>(read & 0xFF)); }
};

// The tool calls the P4800X just "Intel SSD".
struct CProductFamily : CText {
  static std::string Stored(std::string&& read) {
    return read == "Intel SSD" ? "Intel Optane(TM) SSD DC P4800X Series" : std::move(read);
  }
};

// --- Tables of keys ----------------------------------------------------------------------------

template <class Record>
struct CKey {
  const char* m_Name;
  void (*m_Take)(const char* function, const char* name, const rapidjson::Value& value,
                 Record& record);
};

void TraceTaken(const char* function, const char* name, const std::string& value) {
  TORVEX_TRACE_IN(function, TLX::Misc::TRACE_STEPS, "Name: %s, Value: (%s)", name, value);
}

template <class Number>
void TraceTaken(const char* function, const char* name, Number value) {
  TORVEX_TRACE_IN(function, TLX::Misc::TRACE_STEPS, "Name: %s, Value: (%d)", name, value);
}

void TraceTaken(const char* function, const char* name, bool value) {
  TraceTaken(function, name, std::string(value ? "true" : "false"));
}

// Takes the value into the member when it is of the kind. The trace shows what the tool said, the
// member holds what it is stored as.
template <class Kind, auto Member, class Record>
void Take(const char* function, const char* name, const rapidjson::Value& value, Record& record) {
  if (!Kind::Accepts(value)) return;
  auto read = Kind::Read(value);
  TraceTaken(function, name, read);
  auto& member = record.*Member;
  member = static_cast<std::remove_reference_t<decltype(member)>>(Kind::Stored(std::move(read)));
}

// As Take, but a value of another kind sets the member back.
template <class Kind, auto Member, class Record>
void TakeOrReset(const char* function, const char* name, const rapidjson::Value& value,
                 Record& record) {
  record.*Member = {};
  Take<Kind, Member>(function, name, value, record);
}

// clang-format off
constexpr auto INVENTORY_KEYS = std::to_array<CKey<CCmdEmuAdapter>>({
    {"Index",                  Take<CInteger,       &CCmdEmuAdapter::Index>},
    {"Bootloader",             Take<CText,          &CCmdEmuAdapter::Bootloader>},
    {"ControllerDescription",  Take<CText,          &CCmdEmuAdapter::ControllerDescription>},
    {"ControllerIDEMode",      Take<CBoolean,       &CCmdEmuAdapter::ControllerIDEMode>},
    {"ControllerManufacturer", Take<CText,          &CCmdEmuAdapter::ControllerManufacturer>},
    {"ControllerService",      Take<CText,          &CCmdEmuAdapter::ControllerService>},
    {"DevicePath",             Take<CText,          &CCmdEmuAdapter::DevicePath>},
    {"DeviceStatus",           Take<CText,          &CCmdEmuAdapter::DeviceStatus>},
    {"DriverDescription",      Take<CText,          &CCmdEmuAdapter::DriverDescription>},
    {"DriverMajorVersion",     Take<CCharacterCode, &CCmdEmuAdapter::DriverMajorVersion>},
    {"DriverManufacturer",     Take<CText,          &CCmdEmuAdapter::DriverManufacturer>},
    {"DriverMinorVersion",     Take<CCharacterCode, &CCmdEmuAdapter::DriverMinorVersion>},
    {"ErrorString",            Take<CText,          &CCmdEmuAdapter::ErrorString>},
    {"Firmware",               Take<CText,          &CCmdEmuAdapter::Firmware>},
    {"LBAFormat",              Take<CInteger,       &CCmdEmuAdapter::LBAFormat>},
    {"ProductFamily",          Take<CProductFamily, &CCmdEmuAdapter::ProductFamily>},
    {"MaximumLBA",             Take<CUnsigned64,    &CCmdEmuAdapter::MaximumLBA>},
    {"ModelNumber",            Take<CText,          &CCmdEmuAdapter::ModelNumber>},
    {"NativeMaxLBA",           TakeOrReset<CUnsigned64, &CCmdEmuAdapter::NativeMaxLBA>},
    {"NumLBAFormats",          Take<CUnsigned,      &CCmdEmuAdapter::NumLBAFormats>},
    {"NVMePowerState",         Take<CUnsigned,      &CCmdEmuAdapter::NVMePowerState>},
    {"PowerGovernorMode",      Take<CText,          &CCmdEmuAdapter::PowerGovernorMode>},
    {"SectorSize",             Take<CUnsigned,      &CCmdEmuAdapter::SectorSize>},
    {"SerialNumber",           Take<CText,          &CCmdEmuAdapter::SerialNumber>},
    {"TempThreshold",          Take<CUnsigned,      &CCmdEmuAdapter::TempThreshold>},
    {"PhysicalSize",           Take<CUnsigned64,    &CCmdEmuAdapter::PhysicalSize>},
});

constexpr auto HEALTH_KEYS = std::to_array<CKey<CCmdEmuGetlog>>({
    {"Critical Warnings",                                    Take<CInteger, &CCmdEmuGetlog::CriticalWarnings>},
    {"Available Spare Space has fallen below the threshold", Take<CBoolean, &CCmdEmuGetlog::SpareBelowThreshold>},
    {"Device reliability has degraded",                      Take<CBoolean, &CCmdEmuGetlog::ReliabilityDegraded>},
    {"Media is in a read-only mode",                         Take<CBoolean, &CCmdEmuGetlog::ReadOnlyMode>},
    {"Volatile memory backup device has failed",             Take<CBoolean, &CCmdEmuGetlog::VolatileBackupFailed>},
    {"Available Spare Normalized percentage of the remaining spare capacity available",
                                                             Take<CInteger, &CCmdEmuGetlog::AvailableSpare>},
    {"Available Spare Threshold Percentage",                 Take<CInteger, &CCmdEmuGetlog::AvailableSpareThreshold>},
    {"Percentage Used",                                      Take<CInteger, &CCmdEmuGetlog::PercentageUsed>},
    {"Data Units Read",                                      Take<CHexadecimal, &CCmdEmuGetlog::DataUnitsRead>},
    {"Data Units Written",                                   Take<CHexadecimal, &CCmdEmuGetlog::DataUnitsWritten>},
    {"Power On Hours",                                       Take<CHexadecimal, &CCmdEmuGetlog::PowerOnHours>},
    {"Media Errors",                                         Take<CHexadecimal, &CCmdEmuGetlog::MediaErrors>},
});

constexpr auto TEMPERATURE_KEYS = std::to_array<CKey<CCmdEmuGetlog>>({
    {"Current Temperature",         Take<CInteger, &CCmdEmuGetlog::CurrentTemperature>},
    {"Estimated offset in Celsius", Take<CInteger, &CCmdEmuGetlog::TemperatureOffset>},
});

constexpr auto CAPACITY_KEYS = std::to_array<CKey<CCmdEmuGetlog>>({
    {"PhysicalSize", Take<CUnsigned64, &CCmdEmuGetlog::PhysicalSize>},
});

// An attribute is an object of its own; its normalized value counts.
struct CAttribute {
  const char* m_Name;
  CKey<CCmdEmuGetlog> m_Value;
};
constexpr auto ATTRIBUTES = std::to_array<CAttribute>({
    {"EA", {"Normalized", Take<CUnsigned64, &CCmdEmuGetlog::NormalizedEA>}},
    {"AD", {"Normalized", Take<CUnsigned64, &CCmdEmuGetlog::NormalizedAD>}},
});

// Beginnings of section names, compared without regard to case.
constexpr auto DRIVE_SECTIONS       = std::to_array<std::string_view>({"Intel SSD", "Intel Optane"});
constexpr auto HEALTH_SECTIONS      = std::to_array<std::string_view>({"SMART and Health Information",
                                                                       "NVMeLog2",
                                                                       "NVMeLog SMART and Health Information"});
constexpr auto TEMPERATURE_SECTIONS = std::to_array<std::string_view>({"Temp Statistics",
                                                                       "NVMeLog197",
                                                                       "NVMeLog Temp Statistics"});
constexpr auto ATTRIBUTE_SECTIONS   = std::to_array<std::string_view>({"SMART Attributes"});
constexpr auto ANY_SECTION          = std::to_array<std::string_view>({""});

// Beginnings of the model numbers that this plug-in serves, compared with regard to case.
constexpr auto SERVED_MODELS = std::to_array<std::string_view>({
    "INTEL SSDPE2", "INTEL SSDPED", "INTEL SSDPEC", "INTEL SSDPE7", "INTEL SSDPEY", "INTEL SSDPEL"});

// From which temperature on (degrees Celsius) which bits are set; the first row that is reached
// counts.
struct CTemperatureRow {
  int m_From;
  unsigned int m_Bits;
};
constexpr auto TEMPERATURE_ROWS = std::to_array<CTemperatureRow>({
    {84, 0x280},
    {80, 0x240},
    {78, 0x020},
});
// clang-format on

constexpr const char* RAID_MEMBER_KEY = "RSTeDiskId";
constexpr const char* VERSION_SECTION = "Version Information";
struct CVersionSection {
  std::string m_Version;
};
constexpr CKey<CVersionSection> VERSION_KEY = {"Version", Take<CText, &CVersionSection::m_Version>};

// --- Walking a document --------------------------------------------------------------------------

std::string_view NameOf(const rapidjson::Value::Member& member) {
  return {member.name.GetString(), member.name.GetStringLength()};
}

bool BeginsWithAnyOf(std::string_view name, const auto& beginnings) {
  return std::ranges::any_of(beginnings, [name](std::string_view beginning) {
    // As it is written first: the comparison without case asks the locale about every character.
    return name.starts_with(beginning) ||
           (name.size() >= beginning.size() &&
            boost::iequals(name.substr(0, beginning.size()), beginning));
  });
}

// Calls the function with name and value of every member that is an object, in document order; none
// when the value is no object itself.
template <class Function>
void ForEachObjectIn(const rapidjson::Value& value, const Function& function) {
  if (!value.IsObject()) return;
  for (const auto& member : value.GetObject()) {
    if (member.value.IsObject()) function(NameOf(member), member.value);
  }
}

template <class Record>
void TakeKey(const char* function, const CKey<Record>& key, const rapidjson::Value& section,
             Record& record) {
  const auto member = section.FindMember(key.m_Name);
  if (member != section.MemberEnd()) key.m_Take(function, key.m_Name, member->value, record);
}

// The rows of a table of keys by name, made while compiling: a section is walked once, instead of
// searched once for each key.
template <std::size_t Count>
class CKeyIndex {
 public:
  consteval explicit CKeyIndex(const auto& keys) {
    m_Rows.fill(Count);
    for (std::size_t row = 0; row < Count; ++row) {
      m_Names[row] = keys[row].m_Name;
      m_Rows[SlotOf(m_Names[row])] = row;
    }
  }

  // The row of the key with exactly this name; Count when there is none.
  std::size_t RowOf(std::string_view name) const { return m_Rows[SlotOf(name)]; }

 private:
  // At least half of the slots stay free, so that every search ends soon.
  static constexpr std::size_t SLOTS = std::bit_ceil(2 * Count);

  static constexpr std::size_t FirstSlot(std::string_view name) {
    if (name.empty()) return 0;
    const auto code = [](char c) { return std::size_t{static_cast<unsigned char>(c)}; };
    return (name.size() * 5 + code(name.front()) * 3 + code(name.back())) % SLOTS;
  }

  // The slot that holds the name, or the free one where it would go.
  constexpr std::size_t SlotOf(std::string_view name) const {
    std::size_t slot = FirstSlot(name);
    while (m_Rows[slot] != Count && m_Names[m_Rows[slot]] != name) slot = (slot + 1) % SLOTS;
    return slot;
  }

  std::array<std::string_view, Count> m_Names{};
  std::array<std::size_t, SLOTS> m_Rows{};
};

// Takes the keys in the order of the table, whatever their order in the section. Of two members
// with one name the first counts.
template <const auto& Keys, class Record>
void TakeKeys(const char* function, const rapidjson::Value& section, Record& record) {
  constexpr std::size_t count = Keys.size();
  static constexpr CKeyIndex<count> index(Keys);
  std::array<const rapidjson::Value*, count> found{};
  for (const auto& member : section.GetObject()) {
    const std::size_t row = index.RowOf(NameOf(member));
    if (row < count && found[row] == nullptr) found[row] = &member.value;
  }
  for (std::size_t row = 0; row < count; ++row) {
    if (found[row] != nullptr) Keys[row].m_Take(function, Keys[row].m_Name, *found[row], record);
  }
}

// Reads every section whose name fits; of two with the same key the later counts.
template <const auto& Keys>
void ReadLogSections(const rapidjson::Value& root, const auto& names, CCmdEmuGetlog& log) {
  ForEachObjectIn(root, [&](std::string_view name, const rapidjson::Value& section) {
    if (BeginsWithAnyOf(name, names)) TakeKeys<Keys>("GetLogPageInformation", section, log);
  });
}

bool IsServedModel(const std::string& model) {
  return std::ranges::any_of(SERVED_MODELS,
                             [&](std::string_view begin) { return model.starts_with(begin); });
}

CCmdEmuAdapter ReadDrive(const rapidjson::Value& section, std::size_t number) {
  CCmdEmuAdapter drive;
  TakeKeys<INVENTORY_KEYS>("GetAdaptersInfo", section, drive);
  drive.AdapterNumber = number;
  if (drive.NativeMaxLBA != 0) drive.PhysicalSize = drive.NativeMaxLBA * drive.SectorSize;
  return drive;
}

// --- Guarding the parser
// ---------------------------------------------------------------------------

constexpr std::size_t MAX_OUTPUT = std::size_t{64} << 20U;
constexpr int MAX_DEPTH = 256;

// A document that ends the parse where arrays and objects lie deeper in each other than the limit,
// before the parser, which calls itself, runs out of stack.
class CGuardedDocument : public rapidjson::Document {
 public:
  using rapidjson::Document::GenericDocument;

  // Parses the text, also behind a byte order mark; false when it is no JSON or nests too deeply.
  bool Fill(const std::string& text) {
    constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
    rapidjson::StringStream stream(
        text.c_str() + (text.starts_with(BYTE_ORDER_MARK) ? BYTE_ORDER_MARK.size() : 0));
    rapidjson::Reader reader;
    bool read = false;
    auto parse = [&](rapidjson::Document&) {
      read = !reader.Parse(stream, *this).IsError();
      return read;
    };
    Populate(parse);
    return read;
  }

  // What the parser calls.
  bool StartObject() { return ++m_Depth <= MAX_DEPTH && rapidjson::Document::StartObject(); }
  bool StartArray() { return ++m_Depth <= MAX_DEPTH && rapidjson::Document::StartArray(); }
  bool EndObject(rapidjson::SizeType members) {
    --m_Depth;
    return rapidjson::Document::EndObject(members);
  }
  bool EndArray(rapidjson::SizeType elements) {
    --m_Depth;
    return rapidjson::Document::EndArray(elements);
  }

 private:
  int m_Depth = 0;
};

}  // namespace

// --- Reading -----------------------------------------------------------------------------------

bool ParseToolOutput(const std::string& text, rapidjson::Document& document) {
  document.SetNull();
  // Parsed aside, in the caller's memory: a failed parse leaves nothing in the caller's document.
  CGuardedDocument parsed(&document.GetAllocator());
  if (text.size() > MAX_OUTPUT || !parsed.Fill(text)) return false;
  document.rapidjson::Value::Swap(parsed);
  return true;
}

void ReadInventory(const rapidjson::Value& root, std::vector<CCmdEmuAdapter>& drives) {
  if (root.IsObject()) drives.reserve(drives.size() + root.MemberCount());
  ForEachObjectIn(root, [&](std::string_view name, const rapidjson::Value& section) {
    if (!BeginsWithAnyOf(name, DRIVE_SECTIONS)) return;
    // A member of a platform RAID volume is served by somebody else.
    if (section.HasMember(RAID_MEMBER_KEY)) return;
    CCmdEmuAdapter drive = ReadDrive(section, drives.size() + 1);
    if (drive.Index != -1 && IsServedModel(drive.ModelNumber)) drives.push_back(std::move(drive));
  });
}

void ReadHealthLog(const rapidjson::Value& root, CCmdEmuGetlog& log) {
  ReadLogSections<HEALTH_KEYS>(root, HEALTH_SECTIONS, log);
}

void ReadTemperatureLog(const rapidjson::Value& root, CCmdEmuGetlog& log) {
  ReadLogSections<TEMPERATURE_KEYS>(root, TEMPERATURE_SECTIONS, log);
}

void ReadAttributeLog(const rapidjson::Value& root, CCmdEmuGetlog& log) {
  ForEachObjectIn(root, [&](std::string_view name, const rapidjson::Value& section) {
    if (!BeginsWithAnyOf(name, ATTRIBUTE_SECTIONS)) return;
    ForEachObjectIn(section, [&](std::string_view attribute, const rapidjson::Value& value) {
      for (const CAttribute& row : ATTRIBUTES) {
        if (boost::iequals(attribute, row.m_Name)) {
          TakeKey("GetLogPageInformation", row.m_Value, value, log);
        }
      }
    });
  });
}

void ReadCapacityLog(const rapidjson::Value& root, CCmdEmuGetlog& log) {
  ReadLogSections<CAPACITY_KEYS>(root, ANY_SECTION, log);
}

void AddTemperatureWarnings(CCmdEmuGetlog& log) {
  // In 64 bits and cut to 32, so that no offset overflows.
  const int temperature =
      static_cast<int>(static_cast<long>(log.CurrentTemperature) - log.TemperatureOffset);
  for (const CTemperatureRow& row : TEMPERATURE_ROWS) {
    if (temperature >= row.m_From) {
      log.CriticalWarnings |= row.m_Bits;
      return;
    }
  }
}

void ReadVersion(const rapidjson::Value& root, std::string& version) {
  CVersionSection read{version};
  bool found = false;
  ForEachObjectIn(root, [&](std::string_view name, const rapidjson::Value& section) {
    if (found || !boost::iequals(name, VERSION_SECTION)) return;
    found = true;
    TakeKey("GetVersion", VERSION_KEY, section, read);
  });
  version = read.m_Version;
}

unsigned long HexadecimalToNumber(const std::string& text) {
  return ParseNumber(text, std::hex).value();
}

// --- Running -----------------------------------------------------------------------------------

unsigned int IPLUGINAPI_IMPL::GetAdaptersInfo() {
  m_ToolRecords.clear();
  std::string output;
  const int result = TLXX::CSystem::ExecuteCommand(m_CommandPrefix, INVENTORY_ARGUMENTS, output);
  if (result != COMMAND_RAN) {
    TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "TLXX::CSystem::ExecuteCommand returned with %d", result);
    return ERR_TOOL_COMMAND_FAILED;
  }
  rapidjson::Document document;
  if (output.empty() || !ParseToolOutput(output, document)) return ERR_TOOL_COMMAND_FAILED;
  ReadInventory(document, m_ToolRecords);
  return m_ToolRecords.empty() ? PI::ERR_NO_SUPPORTED_HARDWARE : SUCCESS;
}

unsigned int IPLUGINAPI_IMPL::GetLogPage(int index, int logId, rapidjson::Document& document) {
  const auto page = std::ranges::find(LOG_PAGES, logId, &CLogPage::m_Id);
  if (page == LOG_PAGES.end()) return ERR_UNKNOWN_LOG_PAGE;
  document.SetNull();
  const std::string arguments = FormatText(page->m_Arguments, index);
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "TLXX::CSystem::ExecuteCommand start: %s %s",
               m_CommandPrefix, arguments);
  std::string output;
  const int result = TLXX::CSystem::ExecuteCommand(m_CommandPrefix, arguments, output);
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "TLXX::CSystem::ExecuteCommand returned with %d", result);
  const bool answered = result == COMMAND_RAN && !output.empty() && !Contains(output, NO_DEVICE);
  return answered && ParseToolOutput(output, document) ? SUCCESS : ERR_TOOL_COMMAND_FAILED;
}

unsigned int IPLUGINAPI_IMPL::GetLogPageInformation(int index, CCmdEmuGetlog& log) {
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "GetLogPageInformation: begin");
  log.ToolIndex = index;
  rapidjson::Document document;
  for (const CLogPage& page : LOG_PAGES) {
    // A stop waits for the run in progress and for no further one.
    if (IsStopRequested()) return ERR_TOOL_COMMAND_FAILED;
    // Set only here, so that a failure before it leaves the old value.
    if (page.m_Id == LOG_ATTRIBUTES) log.NormalizedAD = 100;
    const unsigned int result = GetLogPage(index, page.m_Id, document);
    if (result != SUCCESS) return result;
    page.m_Read(document, log);
  }
  AddTemperatureWarnings(log);
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "GetLogPageInformation: end");
  return SUCCESS;
}

// The result carries no meaning, on purpose: the text tells whether the version was read.
unsigned int IPLUGINAPI_IMPL::GetVersion(std::string& version) {
  version.clear();
  std::string output;
  const int result = TLXX::CSystem::ExecuteCommand(m_CommandPrefix, VERSION_ARGUMENTS, output);
  if (result != COMMAND_RAN || output.empty() || Contains(output, NO_DEVICE)) {
    return ERR_TOOL_COMMAND_FAILED;
  }
  rapidjson::Document document;
  if (ParseToolOutput(output, document)) ReadVersion(document, version);
  return ERR_TOOL_COMMAND_FAILED;
}

namespace {

// Runs a command that changes a drive. False when it did not run, which is traced under the name
// of the calling function.
bool RunLines(const char* function, const std::string& prefix, const std::string& arguments,
              std::vector<std::string>& lines) {
  const int result = TLXX::CSystem::ExecuteCommand(prefix, arguments, lines);
  if (result == COMMAND_RAN) return true;
  TORVEX_TRACE_IN(function, TLX::Misc::TRACE_STEPS,
                  "TLXX::CSystem::ExecuteCommand returned with %d", result);
  return false;
}

unsigned int ResultOf(const std::vector<std::string>& lines) {
  return std::ranges::any_of(lines, ReportsSuccess) ? SUCCESS : ERR_TOOL_COMMAND_FAILED;
}

}  // namespace

unsigned int IPLUGINAPI_IMPL::CmdEmu_format(int index) {
  std::vector<std::string> lines;
  if (!RunLines(__func__, m_CommandPrefix, FormatText(FORMAT_ARGUMENTS, index), lines)) {
    return ERR_TOOL_COMMAND_FAILED;
  }
  const unsigned int result = ResultOf(lines);
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "Format returned with: %d", result);
  return result;
}

unsigned int IPLUGINAPI_IMPL::CmdEmu_delete(int index) {
  std::vector<std::string> lines;
  if (!RunLines(__func__, m_CommandPrefix, FormatText(DELETE_ARGUMENTS, index), lines)) {
    return ERR_TOOL_COMMAND_FAILED;
  }
  const unsigned int result = ResultOf(lines);
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "Delete returned with: %d", result);
  return result;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the interface takes the name by value
unsigned int IPLUGINAPI_IMPL::CmdEmu_set(int index, std::string name, int kind, int value) {
  const std::string arguments = FormatText(SET_ARGUMENTS, index) + SettingText(name, kind, value);
  std::vector<std::string> lines;
  if (!RunLines(__func__, m_CommandPrefix, arguments, lines)) return ERR_TOOL_COMMAND_FAILED;
  // Only the first line is looked at for the error, and the first success counts.
  if (lines.empty() || Contains(lines.front(), BAD_INDEX)) return ERR_TOOL_COMMAND_FAILED;
  const auto line = std::ranges::find_if(lines, ReportsSuccess);
  if (line == lines.end()) return ERR_TOOL_COMMAND_FAILED;
  TORVEX_TRACE(TLX::Misc::TRACE_STEPS, "Value: (%s)", *line);
  return SUCCESS;
}

}  // namespace NAMESPACE_piTorvex
