#ifndef LINK_SUPERVISOR_H
#define LINK_SUPERVISOR_H

// A client's class driven by the library's timer service: it sends a
// keep-alive every ten seconds and declares the link lost when no reply came
// for thirty. Nothing in it knows about virtual time.

#include <atomic>
#include <functional>
#include <utility>

#include "frame/Accessors.h"
#include "threads/Tick.h"
#include "timer/TimerContext.h"
#include "timer/TimerCtrl.h"

class LinkSupervisor : public TimerContext {
 public:
  static constexpr Tevrol::Long kKeepAliveEvery = 10000;
  static constexpr Tevrol::Tick kLostAfter = 30000;

  explicit LinkSupervisor(std::function<void()> sendKeepAlive)
      : TimerContext(kKeepAliveEvery, true), m_send(std::move(sendKeepAlive)) {}
  ~LinkSupervisor() override { Stop(); }

  void Start() {
    m_lastReply = TevrolTimerNow();
    TimerCtrl_GetInstance()->NewTimer(this);
  }
  void Stop() { TimerCtrl_GetInstance()->RemoveTimer(this); }

  // From the receiving side, any thread.
  void ReplyReceived() { m_lastReply = TevrolTimerNow(); }
  bool Lost() const { return m_lost; }

  // On the timer service's thread. Tick differences stay right across the
  // tick's wrap.
  void Tick() override {
    if (m_lost) return;
    if (TevrolTimerNow() - m_lastReply >= kLostAfter) {
      m_lost = true;
      return;
    }
    m_send();
  }

 private:
  std::function<void()> m_send;
  std::atomic<Tevrol::Tick> m_lastReply{0};
  std::atomic<bool> m_lost{false};
};

#endif
