#include <algorithm>
#include <array>

#include <PI/Catalogue.h>
#include <PI/PluginHelper.h>

namespace PI {

namespace {

struct CValueText {
  int m_Code;
  const char* m_Text;
};

// The catalogue's choices, in the order of their codes.
constexpr auto VALUE_TEXTS = std::to_array<CValueText>({
#define PI_ROW(name, number, text) {number, text},
    PI_CATALOGUE_CHOICES(PI_ROW)
#undef PI_ROW
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
