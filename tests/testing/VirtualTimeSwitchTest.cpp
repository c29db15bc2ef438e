// The switch to virtual time, in a process that starts in real time.
#include <gtest/gtest.h>

#include "testing/VirtualTime.h"
#include "threads/PDStdOperations.h"
#include "workloop/WorkLoop.h"

namespace {

using Tevrol::Testing::VirtualTime;

TEST(VirtualTimeSwitch, RefusedWhileALoopExistsThenOneWay) {
  EXPECT_FALSE(VirtualTime::IsEnabled());
  EXPECT_EQ(VirtualTime::Advance(10), VirtualTime::Result::Refused);
  EXPECT_EQ(VirtualTime::RunUntilIdle(), VirtualTime::Result::Refused);
  Tevrol::Tick next = 0;
  EXPECT_FALSE(VirtualTime::NextDeadline(next));

  WorkLoop* loop = WorkLoop::CreateInstance();
  EXPECT_FALSE(VirtualTime::Enable(1000));  // a loop exists, even before Run
  EXPECT_FALSE(VirtualTime::IsEnabled());
  ASSERT_TRUE(loop->Run());
  EXPECT_FALSE(VirtualTime::Enable(1000));
  WorkLoop::DeleteInstance(loop);

  ASSERT_TRUE(VirtualTime::Enable(1000));  // none left
  EXPECT_TRUE(VirtualTime::IsEnabled());
  EXPECT_FALSE(VirtualTime::Enable(5));  // no second switch, no way back
  EXPECT_EQ(PDStdOperations::GetTickCount(), 1000u);
  EXPECT_EQ(VirtualTime::Advance(250), VirtualTime::Result::Done);
  EXPECT_EQ(PDStdOperations::GetTickCount(), 1250u);
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
