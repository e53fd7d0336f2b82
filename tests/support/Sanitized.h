// Sanitized.h - ZYNE_SANITIZED is 1 in a build with AddressSanitizer (gcc or clang), where
// malloc belongs to the sanitizer's runtime, freed memory is held in quarantine and a
// segmentation fault becomes the sanitizer's report and exit status 1.
#ifndef ZYNE_TESTS_SANITIZED_H
#define ZYNE_TESTS_SANITIZED_H

#if defined(__SANITIZE_ADDRESS__)
#define ZYNE_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZYNE_SANITIZED 1
#endif
#endif
#ifndef ZYNE_SANITIZED
#define ZYNE_SANITIZED 0
#endif

#endif  // ZYNE_TESTS_SANITIZED_H
