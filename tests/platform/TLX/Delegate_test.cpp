#include <string>

#include <gtest/gtest.h>

#include <TLX/Delegates_and_Calls/Delegate.h>

namespace {

using TLX::Delegates_and_Calls::CDelegate;
using TLX::Delegates_and_Calls::CDelegateTarget;

struct Other {
  virtual ~Other() = default;
  int m_Unrelated = 7;
};

class Target : public Other, public CDelegateTarget {
 public:
  std::string Join(const std::string& text, int number) {
    m_Calls++;
    return text + std::to_string(number + m_Offset);
  }
  int m_Calls = 0;
  int m_Offset = 10;
};

TEST(Delegate, Default_IsNotBound) {
  const CDelegate<void()> delegate;
  EXPECT_FALSE(delegate);
}

TEST(Delegate, Call_ReachesTheMemberOfTheTarget) {
  Target target;
  const CDelegate<std::string(const std::string&, int)> delegate(&target, &Target::Join);
  ASSERT_TRUE(delegate);
  EXPECT_EQ(delegate("a", 1), "a11");
  const auto copy = delegate;
  EXPECT_EQ(copy("b", 2), "b12");
  EXPECT_EQ(target.m_Calls, 2);
}

TEST(Delegate, IsThreeWordsWide) {
  EXPECT_EQ(sizeof(CDelegate<void()>), 3 * sizeof(void*));
}

}  // namespace
