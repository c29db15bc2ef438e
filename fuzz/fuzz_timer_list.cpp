// The timer service's list (TimerList: hash index, place searched from the
// nearer end when the deadlines allow it) against the list it replaced, kept
// here as it was: one PIList of contexts, walked from the head to find a
// context and again to find the place of a new deadline, reading each
// deadline from its context. Both get the same operations on twin contexts
// with the same settings and the same clock, which the input moves in small
// steps, by any amount (so deadlines straddle the wrap and lie 2^31 ms or
// more apart) and to just below the wrap. Intervals come from the edges (0,
// 2^31 - 1, 2^31, 2^32 - 1, ...) or anywhere. After every step the two lists
// must hold the same contexts in the same order with the same deadlines,
// every result must agree, and the list's record of whether its deadlines
// are ordered in one window must match a walk.
#include <fuzzer/FuzzedDataProvider.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "FuzzCheck.h"
#include "frame/containers/PIAlloc.h"
#include "frame/containers/PIList.h"
#include "frame/containers/PIObjectExtL.h"
#include "threads/Tick.h"
#include "timer/TimerContext.h"
#include "timer/TimerList.h"

namespace {

// The checking code itself needs no coverage feedback: left out, it runs
// several times faster, and the fuzzer steers by the code under test.
#define TIMER_FUZZ_NO_COVERAGE __attribute__((no_sanitize("coverage")))

constexpr int kContexts = 96;
constexpr int kMaxSteps = 300;

struct Context : TimerContext {
  void Tick() override {}
};

// The service's list before the index, step for step.
class HeadWalkList {
 public:
  using List = PIList<TimerContextInterface*, TimerContextInterface*, NullLocking,
                      PIAlloc<PICommonAllocDescriptors::PIList, PIDefaultAllocator>>;

  TIMER_FUZZ_NO_COVERAGE List::CNode* Find(TimerContextInterface* context) const {
    for (List::CNode* node = m_timers.m_head; node != nullptr; node = node->m_next) {
      if (node->m_value == context) return node;
    }
    return nullptr;
  }
  // NewTimer: false (nothing changed) when registered already.
  TIMER_FUZZ_NO_COVERAGE bool Add(TimerContextInterface* context, Tevrol::Tick now) {
    if (Find(context) != nullptr) return false;
    const Tevrol::Tick deadline = now + context->GetIntervall();
    context->SetTimeout(deadline);
    List::CNode* before = m_timers.m_head;
    while (before != nullptr &&
           detail::TickDifference(deadline, before->m_value->GetTimeout()) >= 0) {
      before = before->m_next;
    }
    if (before != nullptr) {
      m_timers.InsertBefore(before, context);
    } else {
      m_timers.AddTail(context);
    }
    return true;
  }
  TIMER_FUZZ_NO_COVERAGE bool Remove(TimerContextInterface* context) {
    List::CNode* const node = Find(context);
    if (node == nullptr) return false;
    m_timers.RemoveAt(node);
    return true;
  }
  // Execute's pick.
  TIMER_FUZZ_NO_COVERAGE TimerContextInterface* PickDue(Tevrol::Tick now) {
    if (m_timers.m_head == nullptr) return nullptr;
    TimerContextInterface* const head = m_timers.m_head->m_value;
    if (detail::TickDifference(head->GetTimeout(), now) > 0) return nullptr;
    m_timers.RemoveHead();
    if (head->GetCyclic()) Add(head, now);
    return head;
  }

  List m_timers{32};
};

struct Twins {
  std::array<Context, kContexts> fresh;  // in the TimerList
  std::array<Context, kContexts> model;  // in the HeadWalkList
  TimerList list;
  HeadWalkList headWalk;

  TIMER_FUZZ_NO_COVERAGE int IndexOfFresh(TimerContextInterface const* context) const {
    return context == nullptr ? -1
                              : static_cast<int>(static_cast<Context const*>(context) - &fresh[0]);
  }
  TIMER_FUZZ_NO_COVERAGE int IndexOfModel(TimerContextInterface const* context) const {
    return context == nullptr ? -1
                              : static_cast<int>(static_cast<Context const*>(context) - &model[0]);
  }
};

Tevrol::ULong ConsumeInterval(FuzzedDataProvider& input) {
  static constexpr std::array<Tevrol::ULong, 14> kEdges = {
      0u,          1u,          2u,          7u,          100u,        10000u,      0x3FFFFFFFu,
      0x7FFFFFFEu, 0x7FFFFFFFu, 0x80000000u, 0x80000001u, 0xC0000000u, 0xFFFFFFFEu, 0xFFFFFFFFu};
  if (input.ConsumeBool()) {
    return kEdges[input.ConsumeIntegralInRange<std::size_t>(0, kEdges.size() - 1)];
  }
  return input.ConsumeIntegral<Tevrol::ULong>();
}

// The order, the deadlines, the ordered-window record and the index of every
// listed context; `everyIndex` also asks the index about every other context.
TIMER_FUZZ_NO_COVERAGE void Compare(Twins& twins, bool everyIndex) {
  FUZZ_CHECK(twins.list.GetCount() == twins.headWalk.m_timers.m_count);
  std::array<bool, kContexts> registered{};
  TimerList::Node const* node = twins.list.GetFirst();
  std::uint64_t stepSum = 0;
  bool backwards = false;
  for (HeadWalkList::List::CNode* old = twins.headWalk.m_timers.m_head; old != nullptr;
       old = old->m_next, node = node->m_next) {
    FUZZ_CHECK(node != nullptr);
    const int index = twins.IndexOfModel(old->m_value);
    FUZZ_CHECK(twins.IndexOfFresh(node->m_value.m_context) == index);
    const Tevrol::Tick deadline = node->m_value.m_deadline;
    FUZZ_CHECK(deadline == old->m_value->GetTimeout());
    FUZZ_CHECK(node->m_value.m_context->GetTimeout() == deadline);
    FUZZ_CHECK(twins.list.Contains(node->m_value.m_context));
    registered[static_cast<std::size_t>(index)] = true;
    if (node->m_prev != nullptr) {
      const std::uint32_t step = deadline - node->m_prev->m_value.m_deadline;
      stepSum += step;
      backwards = backwards || step >= 0x80000000u;
    }
  }
  FUZZ_CHECK(node == nullptr);
  FUZZ_CHECK(twins.list.IsWindowOrdered() == (!backwards && stepSum < 0x80000000u));
  if (!twins.list.IsEmpty()) {
    FUZZ_CHECK(twins.list.HeadDeadline() == twins.headWalk.m_timers.m_head->m_value->GetTimeout());
  }
  if (everyIndex) {
    for (std::size_t i = 0; i < kContexts; ++i) {
      FUZZ_CHECK(twins.list.Contains(&twins.fresh[i]) == registered[i]);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  Twins twins;
  Tevrol::Tick now = input.ConsumeIntegral<Tevrol::Tick>();
  for (int step = 0; step < kMaxSteps && input.remaining_bytes() > 0; ++step) {
    const auto i = input.ConsumeIntegralInRange<std::size_t>(0, kContexts - 1);
    Context& fresh = twins.fresh[i];
    Context& model = twins.model[i];
    switch (input.ConsumeIntegralInRange<int>(0, 13)) {
      case 0:
      case 1:
      case 2:  // NewTimer
        FUZZ_CHECK(twins.list.Add(&fresh, now) == twins.headWalk.Add(&model, now));
        break;
      case 3:  // ChangeTimer
      {
        FUZZ_CHECK(twins.list.Remove(&fresh) == twins.headWalk.Remove(&model));
        const bool added = twins.list.Add(&fresh, now);
        FUZZ_CHECK(added && twins.headWalk.Add(&model, now));
        break;
      }
      case 4:  // RemoveTimer
        FUZZ_CHECK(twins.list.Remove(&fresh) == twins.headWalk.Remove(&model));
        break;
      case 5:  // IsRegistered
        FUZZ_CHECK(twins.list.Contains(&fresh) == (twins.headWalk.Find(&model) != nullptr));
        break;
      case 6: {  // Execute, a few times
        const int runs = input.ConsumeIntegralInRange<int>(1, 8);
        for (int run = 0; run < runs; ++run) {
          const int picked = twins.IndexOfFresh(twins.list.PickDue(now));
          FUZZ_CHECK(picked == twins.IndexOfModel(twins.headWalk.PickDue(now)));
        }
        break;
      }
      case 7: {  // SetIntervall: effective at the next arming
        const Tevrol::ULong intervall = ConsumeInterval(input);
        fresh.SetIntervall(intervall);
        model.SetIntervall(intervall);
        break;
      }
      case 8: {
        const bool cyclic = input.ConsumeBool();
        fresh.SetCyclic(cyclic);
        model.SetCyclic(cyclic);
        break;
      }
      case 9:
        now += input.ConsumeIntegralInRange<Tevrol::Tick>(0, 2000);
        break;
      case 10:
        now += input.ConsumeIntegral<Tevrol::Tick>();
        break;
      case 11:
        now = 0xFFFFFFFFu - input.ConsumeIntegralInRange<Tevrol::Tick>(0, 3000);
        break;
      case 12: {  // many timers at once, with one interval and the clock moving on
        const auto count = input.ConsumeIntegralInRange<std::size_t>(1, kContexts);
        const Tevrol::ULong intervall = ConsumeInterval(input);
        const auto tick = input.ConsumeIntegralInRange<Tevrol::Tick>(0, 3);
        for (std::size_t k = 0; k < count; ++k) {
          const std::size_t j = (i + k) % kContexts;
          twins.fresh[j].SetIntervall(intervall);
          twins.model[j].SetIntervall(intervall);
          FUZZ_CHECK(twins.list.Add(&twins.fresh[j], now) ==
                     twins.headWalk.Add(&twins.model[j], now));
          now += tick;
        }
        break;
      }
      default:  // the service's shutdown empties the list
        twins.list.RemoveAll();
        twins.headWalk.m_timers.RemoveAll();
        break;
    }
    // The index of the context just used, whatever the step did.
    FUZZ_CHECK(twins.list.Contains(&fresh) == (twins.headWalk.Find(&model) != nullptr));
    Compare(twins, false);
  }
  Compare(twins, true);
  return 0;
}
