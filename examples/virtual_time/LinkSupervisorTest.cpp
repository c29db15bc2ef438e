// Tests of a timer-driven class in virtual time: minutes of the class's life
// run in microseconds, with exact times, and the same way on every run.
#include <gtest/gtest.h>

#include <mutex>
#include <vector>

#include "LinkSupervisor.h"
#include "testing/VirtualTime.h"

namespace {

using Tevrol::Testing::VirtualTime;

// Virtual milliseconds at each keep-alive, counted from the test's start.
class Link : public testing::Test {
 protected:
  void SetUp() override { m_start = VirtualTime::Now(); }
  // Nothing of this test stays pending for the next.
  void TearDown() override {
    m_supervisor.Stop();
    ASSERT_EQ(VirtualTime::FastForward(60000), VirtualTime::Result::Done);
  }
  std::vector<Tevrol::Tick> Sent() {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_sent;
  }

  Tevrol::Tick m_start = 0;
  std::mutex m_lock;
  std::vector<Tevrol::Tick> m_sent;
  LinkSupervisor m_supervisor{[this] {
    std::lock_guard<std::mutex> guard(m_lock);
    m_sent.push_back(TevrolTimerNow() - m_start);
  }};
};

TEST_F(Link, SendsAKeepAliveEveryTenSecondsWhileRepliesCome) {
  m_supervisor.Start();
  for (int i = 0; i < 6; ++i) {
    ASSERT_EQ(VirtualTime::Advance(10000), VirtualTime::Result::Done);
    m_supervisor.ReplyReceived();
  }
  EXPECT_EQ(Sent(), (std::vector<Tevrol::Tick>{10000, 20000, 30000, 40000, 50000, 60000}));
  EXPECT_FALSE(m_supervisor.Lost());
}

TEST_F(Link, IsLostThirtySecondsAfterTheLastReply) {
  m_supervisor.Start();
  ASSERT_EQ(VirtualTime::Advance(15000), VirtualTime::Result::Done);
  m_supervisor.ReplyReceived();  // at 15 s: lost at the first tick from 45 s on
  ASSERT_EQ(VirtualTime::Advance(34999), VirtualTime::Result::Done);
  EXPECT_FALSE(m_supervisor.Lost());
  ASSERT_EQ(VirtualTime::Advance(1), VirtualTime::Result::Done);
  EXPECT_TRUE(m_supervisor.Lost());
  EXPECT_EQ(Sent(), (std::vector<Tevrol::Tick>{10000, 20000, 30000, 40000}));
}

TEST_F(Link, ADayWithoutRepliesSendsTwoKeepAlivesThenNothing) {
  m_supervisor.Start();
  ASSERT_EQ(VirtualTime::Advance(24u * 3600u * 1000u), VirtualTime::Result::Done);
  EXPECT_TRUE(m_supervisor.Lost());
  EXPECT_EQ(Sent(), (std::vector<Tevrol::Tick>{10000, 20000}));
}

}  // namespace

int main(int argc, char** argv) {
  // First, before anything of the library exists; 10 s before the tick wraps,
  // so every test also crosses the wrap.
  if (!VirtualTime::Enable(0u - 10000u)) return 1;
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
