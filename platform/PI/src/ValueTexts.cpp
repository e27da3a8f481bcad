#include <algorithm>
#include <array>

#include <PI/PluginHelper.h>

namespace PI {

namespace {

struct CValueText {
  int m_Code;
  const char* m_Text;
};

// In the order of the codes.
constexpr auto VALUE_TEXTS = std::to_array<CValueText>({
    {40024, "good"},
    {40095, "critical"},
    {40099, "normal"},
    {40150, "degraded"},
    {40200, "SSD"},
    {40252, "full"},
    {40410, "reduced"},
    {40411, "needs attention"},
    {40449, "reliability degraded"},
    {40452, "volatile memory backup failed"},
    {40459, "spare below threshold"},
    {40460, "temperature out of range"},
    {40473, "default"},
    {40480, "no"},
    {40487, "read-only"},
    {40488, "yes"},
});

constexpr bool IsOrdered() {
  for (std::size_t i = 1; i < VALUE_TEXTS.size(); ++i) {
    if (VALUE_TEXTS[i - 1].m_Code >= VALUE_TEXTS[i].m_Code) return false;
  }
  return true;
}
static_assert(IsOrdered(), "the search below needs the codes in ascending order, each once");

}  // namespace

std::string PropertyValueToString(int code) {
  const auto* const row =
      std::lower_bound(VALUE_TEXTS.begin(), VALUE_TEXTS.end(), code,
                       [](const CValueText& text, int wanted) { return text.m_Code < wanted; });
  return row != VALUE_TEXTS.end() && row->m_Code == code ? row->m_Text : "";
}

}  // namespace PI
