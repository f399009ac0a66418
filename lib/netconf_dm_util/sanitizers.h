// The sanitizers of a build: 1 for one that it has, 0 otherwise. g++ tells by macros, clang by
// features.
#ifndef NETCONF_DM_UTIL_SANITIZERS_H_
#define NETCONF_DM_UTIL_SANITIZERS_H_

#if defined(__has_feature)
#define NCDM_HAS_FEATURE(feature) __has_feature(feature)
#else
#define NCDM_HAS_FEATURE(feature) 0
#endif

#if defined(__SANITIZE_ADDRESS__) || NCDM_HAS_FEATURE(address_sanitizer)
#define NCDM_ADDRESS_SANITIZER 1
#else
#define NCDM_ADDRESS_SANITIZER 0
#endif

#if defined(__SANITIZE_THREAD__) || NCDM_HAS_FEATURE(thread_sanitizer)
#define NCDM_THREAD_SANITIZER 1
#else
#define NCDM_THREAD_SANITIZER 0
#endif

#endif  // NETCONF_DM_UTIL_SANITIZERS_H_
