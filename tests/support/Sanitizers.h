// Which sanitizers the build has; GCC says it by macros, clang by features.
#pragma once

#if defined(__has_feature)
#define MOVA_HAS_FEATURE(name) __has_feature(name)
#else
#define MOVA_HAS_FEATURE(name) 0
#endif

namespace mova {

#if defined(__SANITIZE_ADDRESS__) || MOVA_HAS_FEATURE(address_sanitizer)
constexpr bool kAddressSanitizer = true;
#else
constexpr bool kAddressSanitizer = false;
#endif
#if defined(__SANITIZE_THREAD__) || MOVA_HAS_FEATURE(thread_sanitizer)
constexpr bool kThreadSanitizer = true;
#else
constexpr bool kThreadSanitizer = false;
#endif

}  // namespace mova

#undef MOVA_HAS_FEATURE
