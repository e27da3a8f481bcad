#include <gtest/gtest.h>

#include <TLX/Language_Support/LanguageSupport.h>

namespace {

using TLX::Language_Support::CLanguageSupport;

TEST(LanguageSupport, CLngFile_KeepsWhatItIsGiven) {
  const CLanguageSupport::CLngFile file("module.nls", 'e' * 256U + 'n', "utf-8", 1,
                                        {"first", "second"}, 2);
  EXPECT_EQ(file.m_FileName, "module.nls");
  EXPECT_EQ(file.m_LanguageCode, 25966U);
  EXPECT_EQ(file.m_Encoding, "utf-8");
  EXPECT_EQ(file.m_FirstMessage, 1U);
  EXPECT_EQ(file.m_DefaultMessages, (std::vector<std::string>{"first", "second"}));
  EXPECT_EQ(file.m_MessageCount, 2U);
}

TEST(LanguageSupport, ErrorMessage_IsZeroBeyondItsCode) {
  const CLanguageSupport::ERROR_MSG_LIST list = {{0x21350001, 0, 0, 0}};
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].m_Code, 0x21350001U);
  EXPECT_EQ(list[0].m_Message | list[0].m_Severity | list[0].m_Flags, 0U);
}

}  // namespace
