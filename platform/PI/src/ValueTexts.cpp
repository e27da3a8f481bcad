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
    {40099, "working"},
    {40150, "degraded"},
    {40200, "NVMe"},
    {40252, "at 100"},
    {40410, "below 100"},
    {40411, "above 100, or below 100 with a failed memory backup"},
    {40449, "reliability degraded"},
    {40452, "memory backup failed"},
    {40459, "spare low"},
    {40460, "temperature high"},
    {40473, "standard"},
    {40480, "normal"},
    {40487, "read-only"},
    {40488, "special"},
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
