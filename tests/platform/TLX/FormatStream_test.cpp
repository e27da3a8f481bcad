#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <TLX/Internals/TraceSink.h>
#include <TLX/Output_Streams/FormatStream.h>

namespace {

using TLX::Internals::CTraceStreamBuffer;
using TLX::Output_Streams::CFormatStream;

// Closing a trace line throws nothing into the caller.
static_assert(std::is_nothrow_destructible_v<CTraceStreamBuffer> &&
              std::is_nothrow_destructible_v<CFormatStream>);

class LineSink final : public TLX::Internals::ITraceSink {
 public:
  void Write(const TLX::Internals::CTraceLine& line) override { text_ = line.m_Text; }
  std::string text_;
};

std::string Formatted(const char* format, const std::function<void(CFormatStream&)>& feed) {
  static const TLX::Misc::CModuleInfo module(TLX::Misc::MODULE_piTorvex, "test", "1", nullptr,
                                             nullptr);
  const auto sink = std::make_shared<LineSink>();
  TLX::Internals::SetTraceSink(sink);
  {
    CTraceStreamBuffer buffer(2, module, "file", "function", 1);
    CFormatStream stream(buffer, format);
    feed(stream);
  }
  TLX::Internals::SetTraceSink(nullptr);
  return sink->text_;
}

struct Case {
  const char* format;
  std::function<void(CFormatStream&)> feed;
  std::string expected;
};

TEST(FormatStream, FillsPlacesFromLeftToRight) {
  const auto nothing = [](CFormatStream&) {};
  // clang-format off
  const std::vector<Case> cases = {
      // format                argument                                                expected
      {"",                     nothing,                                                ""},
      {"plain",                nothing,                                                "plain"},
      {"-> %d",                [](auto& s) { s.FormatInt(0U); },                       "-> 0"},
      {"%d",                   [](auto& s) { s.FormatInt(20011U); },                   "20011"},
      {"%d",                   [](auto& s) { s.FormatInt(0x7FFFFFFFU); },              "2147483647"},
      {"%d",                   [](auto& s) { s.FormatInt(0x80000000U); },              "-2147483648"},
      {"%d",                   [](auto& s) { s.FormatInt(0xFFFFFFFFU); },              "-1"},
      {"%d",                   [](auto& s) { s.FormatInt(0xFFFFFFFFUL); },             "4294967295"},
      {"%d",                   [](auto& s) { s.FormatInt(1UL << 40); },                "1099511627776"},
      {"%d",                   [](auto& s) { s.FormatInt(~0UL); },                     "-1"},
      {"0x%x",                 [](auto& s) { s.FormatInt(0U); },                       "0x0"},
      {"0x%x",                 [](auto& s) { s.FormatInt(0xABCU); },                   "0xabc"},
      {"0x%x",                 [](auto& s) { s.FormatInt(~0U); },                      "0xffffffff"},
      {"0x%x",                 [](auto& s) { s.FormatInt(0x0135000000000001UL); },     "0x135000000000001"},
      {"0x%x",                 [](auto& s) { s.FormatInt(~0UL); },                     "0xffffffffffffffff"},
      {"%s: %s",               [](auto& s) { s << "a" << std::string("b\0c", 3); },    std::string("a: b\0c", 6)},
      {"[%s]",                 [](auto& s) { s << static_cast<const char*>(nullptr); },"[]"},
      {"%s %d%s.",             [](auto& s) { (s << "a").FormatInt(7U) << "b"; },       "a 7b."},
      {"%d and %s, %x end",    nothing,                                                " and ,  end"},
      {"%d and %s, %x end",    [](auto& s) { s.FormatInt(1U); },                       "1 and ,  end"},
      {"one %d",               [](auto& s) { s.FormatInt(1U).FormatInt(2U) << "x"; },  "one 1"},
      {"none",                 [](auto& s) { s << "dropped"; },                        "none"},
      {"100%% of %d",          [](auto& s) { s.FormatInt(5U); },                       "100% of 5"},
      {"%%d %s",               [](auto& s) { s << "x"; },                              "%d x"},
      {"50% done %d",          [](auto& s) { s.FormatInt(5U); },                       "50% done 5"},
      {"end %",                nothing,                                                "end %"},
      {"%s",                   [](auto& s) { s << "%d %s"; },                          "%d %s"},
      {"%s",                   [](auto& s) { s.FormatInt(~0U); },                      "-1"},
      {"%d",                   [](auto& s) { s << "text"; },                           "text"},
  };
  // clang-format on
  for (const Case& row : cases) EXPECT_EQ(Formatted(row.format, row.feed), row.expected);
}

}  // namespace
