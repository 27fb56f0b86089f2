/*
 * target_clones.h - QV_TARGET_CLONES(...): a hot function built once per
 * listed processor level, the best one chosen when the library loads
 * (GCC/Clang target_clones on x86-64 Linux). Builds under ThreadSanitizer
 * keep one version: the loader runs the chooser before the sanitizer has
 * started, which crashes such a program.
 */
#pragma once

#if defined(__SANITIZE_THREAD__)
#define QV_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define QV_THREAD_SANITIZER 1
#endif
#endif
#ifndef QV_THREAD_SANITIZER
#define QV_THREAD_SANITIZER 0
#endif

#if defined(__x86_64__) && defined(__linux__) && !QV_THREAD_SANITIZER
#define QV_TARGET_CLONES(...) __attribute__((target_clones(__VA_ARGS__)))
#else
#define QV_TARGET_CLONES(...)
#endif
