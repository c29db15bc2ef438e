#ifndef TEVROL_TESTS_SUPPORT_STRESSSCALE_H
#define TEVROL_TESTS_SUPPORT_STRESSSCALE_H

// Stress tests divide their iterations by this where a run is slow:
// ThreadSanitizer, or the ARM build under qemu.
#if defined(__SANITIZE_THREAD__)
#define TEVROL_TEST_UNDER_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define TEVROL_TEST_UNDER_TSAN 1
#endif
#endif

#if defined(TEVROL_TEST_UNDER_TSAN)
constexpr int kStressScale = 10;
#elif defined(TEVROL_TEST_UNDER_EMULATOR)
constexpr int kStressScale = 4;
#else
constexpr int kStressScale = 1;
#endif

#endif
