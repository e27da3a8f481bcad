#include "Service.h"

#include "EventLines.h"
#include "Started.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <future>

#include <fmt/format.h>
#include <poll.h>

#include <TLX/Misc/Clock.h>

namespace vxhost {

namespace {

constexpr unsigned long FIRST_PAUSE = 5'000;  // milliseconds
constexpr unsigned long LONGEST_PAUSE = 60'000;

// What may be different at the next try: the tool answers, a drive is there.
bool IsWorthAnotherTry(unsigned int result) {
  return result == PI::ERR_NO_SUPPORTED_HARDWARE || result == PI::ERR_API_INITIALIZATION_FAILED;
}

std::string RetryText(unsigned long pause) {
  if (pause >= LONGEST_PAUSE) return fmt::format("trying again every {} s", LONGEST_PAUSE / 1000);
  return fmt::format("trying again in {} s, then after longer pauses, up to {} s", pause / 1000,
                     LONGEST_PAUSE / 1000);
}

// Sets an event when it goes.
class SetAtEnd {
 public:
  explicit SetAtEnd(const WakeEvent& event) : event_(event) {}
  ~SetAtEnd() { event_.Set(); }
  SetAtEnd(const SetAtEnd&) = delete;
  SetAtEnd& operator=(const SetAtEnd&) = delete;

 private:
  const WakeEvent& event_;
};

}  // namespace

ServedPlugin::ServedPlugin(std::unique_ptr<PluginLibrary> library, HostNumbers& numbers,
                           Output& output, bool json, bool colour)
    : library_(std::move(library)),
      numbers_(numbers),
      output_(output),
      json_(json),
      colour_(colour) {}

std::optional<unsigned int> ServedPlugin::Start(MirrorDatabase& database, bool alone,
                                                const Session::StopQuestion& isToEnd) {
  // Rows of another plug-in that runs must neither go nor wait for this one's start.
  Started started = StartSession(alone ? database.BeginStart() : nullptr, isToEnd);
  if (started.result == 0U && !started.rowsKept) {
    // The plug-in takes the lost rows for written and would never write them again. Without a
    // transaction it learns of each row that cannot be written, and writes it when there is room.
    Stop();
    started = StartSession(nullptr, isToEnd);
  }
  // A start that failed is undone: nobody serves the drives of the run before any more.
  if (started.result.value_or(0) != 0 && alone) database.RemoveEarlierRun();
  return started.result;
}

ServedPlugin::Started ServedPlugin::StartSession(
    std::unique_ptr<MirrorDatabase::Bracket> transaction, const Session::StopQuestion& isToEnd) {
  session_ = std::make_unique<Session>(*library_, numbers_, [this] { OnNotify(); });
  Started started;
  try {
    // Held over the start, so that a notification of the new object waits for what was known first.
    const std::lock_guard lock(mutex_);
    started.result = session_->Start(isToEnd);
    if (started.result == 0U) {
      started.rowsKept = transaction == nullptr || transaction->Commit();
      known_ = Topology(session_->GetTopology(), session_->Adapters());
    }
  } catch (const PluginError&) {
    session_.reset();
    throw;
  }
  if (started.result != 0U) session_.reset();
  return started;
}

void ServedPlugin::Stop() {
  if (session_) session_->Stop();
  session_.reset();
}

std::size_t ServedPlugin::AdapterCount() const {
  return session_->Adapters().size();
}

// On the plug-in's thread, which holds no lock of its own: what it says now and what it has queued
// belong together.
void ServedPlugin::OnNotify() {
  try {
    Report();
  } catch (const std::exception& error) {
    Say(fmt::format("plug-in {}: events could not be fetched: {}", Name(), error.what()));
  }
}

void ServedPlugin::Report() {
  const std::lock_guard lock(mutex_);
  Topology now(session_->GetTopology(), session_->Adapters());
  const auto reports =
      MakeReports(session_->FetchEvents(), known_, now, ToolWatch::LastFailureOfThisThread());
  for (const auto& report : reports) {
    output_.PostLine(json_ ? ReportJson(report, Name()) : ReportLine(report, colour_));
  }
  known_ = std::move(now);
}

Service::Service(Host& host)
    : host_(host),
      database_(host, MirrorDatabase::Default::StateDirectory),
      stop_(host.Signals(), [] { Say("tool runs so far:\n" + RenderRunStatistics()); }) {
  Load();
}

void Service::Load() {
  for (const std::filesystem::path& file : host_.Plugins()) {
    try {
      Entry entry;
      entry.plugin =
          std::make_unique<ServedPlugin>(std::make_unique<PluginLibrary>(file), numbers_,
                                         host_.Out(), host_.Settings().json, host_.Colour());
      entries_.push_back(std::move(entry));
    } catch (const PluginError& error) {
      Say(error.what());
    }
  }
}

int Service::Run() {
  auto starts = std::async(std::launch::async, [this] { KeepStarting(); });
  WaitForEnd();
  EndStarts();
  starts.get();
  for (Entry& entry : entries_) entry.plugin->Stop();
  const std::string statistics = RenderRunStatistics();
  if (!statistics.empty()) Say("tool runs:\n" + statistics);
  return Status();
}

// Until all run, none can, or the service is to end. A thread of its own, since a start takes as
// long as the tool does.
void Service::KeepStarting() {
  const SetAtEnd over(startsAreOver_);
  const TLXX::CRunStop::CScope scope(startRuns_);
  const auto isGivenUp = [](const Entry& entry) { return entry.givenUp; };
  while (!ends_) {
    for (Entry& entry : entries_) {
      if (!ends_ && !entry.givenUp && !entry.plugin->Runs()) Try(entry);
    }
    if (std::all_of(entries_.begin(), entries_.end(), isGivenUp)) return;
    PauseStarts();
  }
}

// Until the next try of a start, or until the service is to end.
void Service::PauseStarts() {
  std::unique_lock lock(endsMutex_);
  const auto ends = [this] { return ends_.load(); };
  const auto next = NextTry();
  if (!next) return endsChanged_.wait(lock, ends);
  const unsigned long now = TLX::Misc::now();
  endsChanged_.wait_for(lock, TLX::Misc::CClock::ToRealTime(*next > now ? *next - now : 0), ends);
}

// A start is not unwound: its tool runs fail from now on, and it ends by its own paths.
void Service::EndStarts() {
  toolWatch_.Quiet();
  {
    const std::lock_guard lock(endsMutex_);
    ends_ = true;
  }
  endsChanged_.notify_all();
  startRuns_.Request();
}

// The status when nothing ever ran: of the last result. A service that was stopped is done.
int Service::Status() const {
  if (readerHasGone_) return EXIT_FAILED;
  const bool given = std::all_of(entries_.begin(), entries_.end(),
                                 [](const Entry& entry) { return entry.givenUp; });
  if (!given) return EXIT_DONE;
  return entries_.empty() ? EXIT_NOTHING : EXIT_FAILED;
}

void Service::Try(Entry& entry) {
  if (entry.nextTry > TLX::Misc::now()) return;
  ServedPlugin& plugin = *entry.plugin;
  const bool alone = std::none_of(entries_.begin(), entries_.end(),
                                  [](const Entry& other) { return other.plugin->Runs(); });
  try {
    const auto result = plugin.Start(database_, alone, [this] { return ends_.load(); });
    if (!result) return Say(fmt::format("plug-in {}: its start was broken off", plugin.Name()));
    if (*result != 0) return NoteFailedStart(entry, *result);
    const std::size_t count = plugin.AdapterCount();
    Say(fmt::format("plug-in {}: running with {} {}", plugin.Name(), count,
                    count == 1 ? "adapter" : "adapters"));
  } catch (const PluginError& error) {
    entry.givenUp = true;
    Say(error.what());
  }
}

void Service::NoteFailedStart(Entry& entry, unsigned int result) {
  const std::string problem = StartProblem(entry.plugin->Name(), result);
  entry.givenUp = !IsWorthAnotherTry(result);
  if (entry.givenUp) return Say(problem);
  entry.pause = entry.pause == 0 ? FIRST_PAUSE : std::min(entry.pause * 2, LONGEST_PAUSE);
  if (result != entry.result) Say(fmt::format("{}; {}", problem, RetryText(entry.pause)));
  entry.result = result;
  entry.nextTry = TLX::Misc::now() + entry.pause;
}

std::optional<unsigned long> Service::NextTry() const {
  std::optional<unsigned long> next;
  for (const Entry& entry : entries_) {
    if (entry.givenUp || entry.plugin->Runs()) continue;
    next = std::min(next.value_or(entry.nextTry), entry.nextTry);
  }
  return next;
}

// Until the service is to end: a signal asks for it, nobody reads its lines any more, or there is
// nothing that could ever run.
void Service::WaitForEnd() {
  std::array<pollfd, 3> waits = {{{stop_.Descriptor(), POLLIN, 0},
                                  {startsAreOver_.Descriptor(), POLLIN, 0},
                                  {host_.Out().Descriptor(), 0, 0}}};
  while (::poll(waits.data(), waits.size(), -1) < 0 && errno == EINTR) {
  }
  readerHasGone_ = waits[2].revents != 0;
  if (readerHasGone_) Say("nobody reads standard output any more: the service ends");
}

}  // namespace vxhost
