#include "Core/ToolText.h"

#include "Core/Text.h"
#include "Core/Trace.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <type_traits>
#include <utility>

#include <Facts/Kinds.h>
#include <Facts/Tool.h>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/optional.hpp>
#include <rapidjson/document.h>
#include <rapidjson/reader.h>

namespace NAMESPACE_piTorvex {
namespace {

using Facts::EKind;

// --- Kinds of value: which JSON values are taken, what is read, and what it is stored as

template <EKind>
struct CKind;

template <class Read>
struct CStoredAsRead {
  static Read Stored(Read&& read) { return std::move(read); }
};

template <>
struct CKind<EKind::Integer> : CStoredAsRead<int> {
  static bool Accepts(const CToolValue& value) { return value.IsInt(); }
  static int Read(const CToolValue& value) { return value.GetInt(); }
};

template <>
struct CKind<EKind::Unsigned> : CStoredAsRead<unsigned int> {
  static bool Accepts(const CToolValue& value) { return value.IsUint(); }
  static unsigned int Read(const CToolValue& value) { return value.GetUint(); }
};

template <>
struct CKind<EKind::Unsigned64> : CStoredAsRead<unsigned long> {
  static bool Accepts(const CToolValue& value) { return value.IsUint64(); }
  static unsigned long Read(const CToolValue& value) { return value.GetUint64(); }
};

template <>
struct CKind<EKind::Unsigned64OrReset> : CKind<EKind::Unsigned64> {};

template <>
struct CKind<EKind::Boolean> : CStoredAsRead<bool> {
  static bool Accepts(const CToolValue& value) { return value.IsBool(); }
  static bool Read(const CToolValue& value) { return value.GetBool(); }
};

template <>
struct CKind<EKind::Text> : CStoredAsRead<std::string> {
  static bool Accepts(const CToolValue& value) { return value.IsString(); }
  static std::string Read(const CToolValue& value) { return value.GetString(); }
};

template <>
struct CKind<EKind::Hexadecimal> : CStoredAsRead<unsigned long> {
  static bool Accepts(const CToolValue& value) { return value.IsString(); }
  static unsigned long Read(const CToolValue& value) {
    return HexadecimalToNumber(value.GetString());
  }
};

// 10 becomes a line feed and not the digits "10": readers of the record take the code.
template <>
struct CKind<EKind::CharacterCode> : CKind<EKind::Integer> {
  static std::string Stored(int read) { return std::string(1, static_cast<char>(read & 0xFF)); }
};

// The tool calls the P4800X just "Intel SSD".
template <>
struct CKind<EKind::ProductFamily> : CKind<EKind::Text> {
  static std::string Stored(std::string&& read) {
    return read == "Intel SSD" ? "Intel Optane(TM) SSD DC P4800X Series" : std::move(read);
  }
};

// --- Tables of keys

template <class Record>
struct CKey {
  std::string_view m_Name;
  void (*m_Take)(const CTracer& trace, const char* name, const CToolValue& value, Record& record);
};

void TraceTaken(const CTracer& trace, const char* name, const std::string& value) {
  trace.Steps("Name: %s, Value: (%s)", name, value);
}

template <class Number>
void TraceTaken(const CTracer& trace, const char* name, Number value) {
  trace.Steps("Name: %s, Value: (%d)", name, value);
}

void TraceTaken(const CTracer& trace, const char* name, bool value) {
  trace.Steps("Name: %s, Value: (%s)", name, value ? "true" : "false");
}

// Takes the value into the member when it is of the kind. The trace shows what the tool said, the
// member holds what it is stored as.
template <EKind Kind, auto Member, class Record>
void Take(const CTracer& trace, const char* name, const CToolValue& value, Record& record) {
  auto& member = record.*Member;
  if constexpr (Kind == EKind::Unsigned64OrReset) member = {};
  if (!CKind<Kind>::Accepts(value)) return;
  auto read = CKind<Kind>::Read(value);
  TraceTaken(trace, name, read);
  member =
      static_cast<std::remove_reference_t<decltype(member)>>(CKind<Kind>::Stored(std::move(read)));
}

// In the order in which they are read and traced.
constexpr auto INVENTORY_KEYS = std::to_array<CKey<CCmdEmuAdapter>>({
#define INVENTORY_KEY(member, kind, ...) {#member, Take<EKind::kind, &CCmdEmuAdapter::member>},
#include <Facts/Fields.def>
#define INVENTORY_KEY_READ_LAST(member, kind, ...) \
  {#member, Take<EKind::kind, &CCmdEmuAdapter::member>},
#include <Facts/Fields.def>
});

// The keys of one log; rows of the others are passed over.
template <Facts::ELog Log>
consteval auto KeysOf() {
  struct CRow {
    Facts::ELog m_Log;
    CKey<CCmdEmuGetlog> m_Key;
  };
  constexpr auto ROWS = std::to_array<CRow>({
#define LOG_KEY(log, key, kind, type, member, ...) \
  {Facts::ELog::log, {key, Take<EKind::kind, &CCmdEmuGetlog::member>}},
#include <Facts/Fields.def>
  });
  constexpr auto IS_OF_LOG = [](const CRow& row) { return row.m_Log == Log; };
  std::array<CKey<CCmdEmuGetlog>, std::ranges::count_if(ROWS, IS_OF_LOG)> keys{};
  std::size_t next = 0;
  for (const CRow& row : ROWS) {
    if (IS_OF_LOG(row)) keys[next++] = row.m_Key;
  }
  return keys;
}
constexpr auto HEALTH_KEYS = KeysOf<Facts::ELog::Health>();
constexpr auto TEMPERATURE_KEYS = KeysOf<Facts::ELog::Temperature>();
constexpr auto CAPACITY_KEYS = KeysOf<Facts::ELog::Capacity>();
// Each attribute is an object of its own; its normalized value counts.
constexpr auto ATTRIBUTES = KeysOf<Facts::ELog::Attribute>();

struct CVersionSection {
  std::string m_Version;
};

// --- Walking a document

std::string_view NameOf(const CToolValue::Member& member) {
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
void ForEachObjectIn(const CToolValue& value, const Function& function) {
  if (!value.IsObject()) return;
  for (const auto& member : value.GetObject()) {
    if (member.value.IsObject()) function(NameOf(member), member.value);
  }
}

// The text under the key; null when there is none.
const char* TextUnder(const CToolValue& section, const char* key) {
  const auto member = section.FindMember(key);
  return member != section.MemberEnd() && member->value.IsString() ? member->value.GetString()
                                                                   : nullptr;
}

// The rows of a table of keys in the order of their names, made while compiling: a section is
// walked once, instead of searched once for each key.
template <const auto& Keys>
struct CSortedKeys {
  static constexpr std::size_t COUNT = Keys.size();
  static constexpr auto ROWS = [] {
    std::array<std::size_t, COUNT> rows{};
    for (std::size_t row = 0; row < COUNT; ++row) rows[row] = row;
    std::ranges::sort(rows, {}, [](std::size_t row) { return Keys[row].m_Name; });
    return rows;
  }();

  // The row of the key with exactly this name; COUNT when there is none.
  static std::size_t RowOf(std::string_view name) {
    const auto row =
        std::ranges::lower_bound(ROWS, name, {}, [](std::size_t at) { return Keys[at].m_Name; });
    return row != ROWS.end() && Keys[*row].m_Name == name ? *row : COUNT;
  }
};

// Takes the keys in the order of the table, whatever their order in the section. Of two members
// with one name the first counts.
template <const auto& Keys, class Record>
void TakeKeys(const CTracer& trace, const CToolValue& section, Record& record) {
  using CSorted = CSortedKeys<Keys>;
  std::array<const CToolValue*, CSorted::COUNT> found{};
  for (const auto& member : section.GetObject()) {
    const std::size_t row = CSorted::RowOf(NameOf(member));
    if (row < found.size() && found[row] == nullptr) found[row] = &member.value;
  }
  for (std::size_t row = 0; row < found.size(); ++row) {
    if (found[row] == nullptr) continue;
    Keys[row].m_Take(trace, Keys[row].m_Name.data(), *found[row], record);
  }
}

// Which operation reads; the lines of all logs stand under the name of their common one.
constexpr const char* INVENTORY_READER = "GetAdaptersInfo";
constexpr const char* LOG_READER = "GetLogPageInformation";
constexpr const char* VERSION_READER = "GetVersion";

// Reads every section whose name fits; of two with the same key the later counts.
template <const auto& Keys>
void ReadLogSections(const CToolValue& root, const auto& names, CCmdEmuGetlog& log) {
  const CTracer trace(TraceSource::TOOL, LOG_READER);
  ForEachObjectIn(root, [&](std::string_view name, const CToolValue& section) {
    if (!BeginsWithAnyOf(name, names)) return;
    if (const char* const serial = TextUnder(section, Facts::SERIAL_KEY)) log.NamedSerial = serial;
    TakeKeys<Keys>(trace, section, log);
  });
}

bool IsServedModel(const std::string& model) {
  return std::ranges::any_of(Facts::SERVED_MODELS,
                             [&](std::string_view begin) { return model.starts_with(begin); });
}

CCmdEmuAdapter ReadDrive(const CToolValue& section, std::size_t number) {
  CCmdEmuAdapter drive;
  TakeKeys<INVENTORY_KEYS>(CTracer(TraceSource::TOOL, INVENTORY_READER), section, drive);
  drive.AdapterNumber = number;
  if (drive.NativeMaxLBA != 0) drive.PhysicalSize = drive.NativeMaxLBA * drive.SectorSize;
  return drive;
}

// --- Guarding the parser

constexpr std::size_t MIB = std::size_t{1} << 20U;
constexpr std::size_t MAX_OUTPUT = 64 * MIB;
constexpr std::size_t MAX_DOCUMENT = 256 * MIB;
constexpr int MAX_DEPTH = 256;

// Counts nesting; the parser calls it before it goes deeper.
class CDepth {
 public:
  bool Enter() { return ++m_Depth <= MAX_DEPTH; }
  void Leave() { --m_Depth; }

 private:
  int m_Depth = 0;
};

// Adds up what a document of the text would take, without making one.
class CDocumentSize : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, CDocumentSize> {
 public:
  bool Default() { return Add(sizeof(CToolValue)); }
  bool String(const char*, rapidjson::SizeType length, bool) {
    return Add(sizeof(CToolValue) + length + sizeof(CToolValue));
  }
  bool Key(const char* text, rapidjson::SizeType length, bool copy) {
    return String(text, length, copy);
  }
  bool StartObject() { return m_Depth.Enter() && Default(); }
  bool StartArray() { return m_Depth.Enter() && Default(); }
  bool EndObject(rapidjson::SizeType) { return Left(); }
  bool EndArray(rapidjson::SizeType) { return Left(); }

 private:
  bool Left() {
    m_Depth.Leave();
    return true;
  }
  bool Add(std::size_t bytes) {
    m_Bytes += bytes;
    return m_Bytes <= MAX_DOCUMENT;
  }

  std::size_t m_Bytes = 0;
  CDepth m_Depth;
};

using CReader = rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, CThrowingAllocator>;

// A document that ends the parse where arrays and objects lie deeper in each other than the limit,
// before the parser, which calls itself, runs out of stack.
class CGuardedDocument : public CToolDocument {
 public:
  explicit CGuardedDocument(AllocatorType* allocator) : CToolDocument(allocator) {}

  // False when the text is no JSON or nests too deeply.
  bool Fill(const char* text) {
    rapidjson::StringStream stream(text);
    CReader reader;
    bool read = false;
    auto parse = [&](CToolDocument&) {
      read = !reader.Parse(stream, *this).IsError();
      return read;
    };
    Populate(parse);
    return read;
  }

  // What the parser calls.
  bool StartObject() { return m_Depth.Enter() && CToolDocument::StartObject(); }
  bool StartArray() { return m_Depth.Enter() && CToolDocument::StartArray(); }
  bool EndObject(rapidjson::SizeType members) {
    m_Depth.Leave();
    return CToolDocument::EndObject(members);
  }
  bool EndArray(rapidjson::SizeType elements) {
    m_Depth.Leave();
    return CToolDocument::EndArray(elements);
  }

 private:
  CDepth m_Depth;
};

// Whether the document of a text keeps below its bound. A short text is not read twice for it: its
// document is at most some twenty times as large.
bool IsWithinBound(const char* text, std::size_t length) {
  if (length <= MIB) return true;
  rapidjson::StringStream stream(text);
  CReader reader;
  CDocumentSize size;
  return !reader.Parse(stream, size).IsError();
}

// The text behind a byte order mark.
std::string_view WithoutMark(std::string_view text) {
  constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
  if (text.starts_with(BYTE_ORDER_MARK)) text.remove_prefix(BYTE_ORDER_MARK.size());
  return text;
}

// The parser takes a NUL for the end of the text: what stands behind it would go unseen.
bool HasTextBehindNul(const std::string& text) {
  const std::size_t nul = text.find('\0');
  return nul != std::string::npos && nul + 1 != text.size();
}

}  // namespace

bool ParseToolOutput(const std::string& text, CToolDocument& document) {
  document.SetNull();
  if (text.size() > MAX_OUTPUT || HasTextBehindNul(text)) return false;
  const std::string_view json = WithoutMark(text);
  if (!IsWithinBound(json.data(), json.size())) return false;
  // Parsed aside, in the caller's memory: a failed parse leaves nothing in the caller's document.
  CGuardedDocument parsed(&document.GetAllocator());
  if (!parsed.Fill(json.data())) return false;
  document.CToolValue::Swap(parsed);
  return true;
}

void ReadInventory(const CToolValue& root, std::vector<CCmdEmuAdapter>& drives) {
  if (root.IsObject()) drives.reserve(drives.size() + root.MemberCount());
  ForEachObjectIn(root, [&](std::string_view name, const CToolValue& section) {
    if (!BeginsWithAnyOf(name, Facts::DRIVE_SECTIONS)) return;
    // A member of a platform RAID volume is served by somebody else.
    if (section.HasMember(Facts::RAID_MEMBER_KEY)) return;
    CCmdEmuAdapter drive = ReadDrive(section, drives.size() + 1);
    if (drive.Index != -1 && IsServedModel(drive.ModelNumber)) drives.push_back(std::move(drive));
  });
}

void ReadHealthLog(const CToolValue& root, CCmdEmuGetlog& log) {
  ReadLogSections<HEALTH_KEYS>(root, Facts::HEALTH_SECTIONS, log);
}

void ReadTemperatureLog(const CToolValue& root, CCmdEmuGetlog& log) {
  ReadLogSections<TEMPERATURE_KEYS>(root, Facts::TEMPERATURE_SECTIONS, log);
}

void ReadAttributeLog(const CToolValue& root, CCmdEmuGetlog& log) {
  const CTracer trace(TraceSource::TOOL, LOG_READER);
  ForEachObjectIn(root, [&](std::string_view name, const CToolValue& section) {
    if (!BeginsWithAnyOf(name, Facts::ATTRIBUTE_SECTIONS)) return;
    ForEachObjectIn(section, [&](std::string_view attribute, const CToolValue& values) {
      const auto normalized = values.FindMember(Facts::NORMALIZED_KEY);
      if (normalized == values.MemberEnd()) return;
      for (const auto& row : ATTRIBUTES) {
        if (!boost::iequals(attribute, row.m_Name)) continue;
        row.m_Take(trace, Facts::NORMALIZED_KEY, normalized->value, log);
      }
    });
  });
}

void ReadCapacityLog(const CToolValue& root, CCmdEmuGetlog& log) {
  ReadLogSections<CAPACITY_KEYS>(root, Facts::ANY_SECTION, log);
}

void ReadVersion(const CToolValue& root, std::string& version) {
  const CTracer trace(TraceSource::TOOL, VERSION_READER);
  CVersionSection read{version};
  bool found = false;
  ForEachObjectIn(root, [&](std::string_view name, const CToolValue& section) {
    if (found || !boost::iequals(name, Facts::VERSION_SECTION)) return;
    found = true;
    const auto member = section.FindMember(Facts::VERSION_KEY);
    if (member == section.MemberEnd()) return;
    Take<EKind::Text, &CVersionSection::m_Version>(trace, Facts::VERSION_KEY, member->value, read);
  });
  version = read.m_Version;
}

unsigned long HexadecimalToNumber(const std::string& text) {
  return ParseNumber(text, std::hex).value();
}

}  // namespace NAMESPACE_piTorvex
