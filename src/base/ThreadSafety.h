// What a lock guards and what may only be called with it held, written so that clang's thread safety analysis
// (-Wthread-safety) checks it. Other compilers see nothing of it. Constructors and destructors are not checked: an
// object is used by one thread while it is made and while it goes.
#pragma once

#ifdef __clang__
#define MOVA_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define MOVA_THREAD_SAFETY(attribute)
#endif

// Of classes: a lock, and a guard that holds one for as long as it lives.
#define MOVA_CAPABILITY(name) MOVA_THREAD_SAFETY(capability(name))
#define MOVA_SCOPED_CAPABILITY MOVA_THREAD_SAFETY(scoped_lockable)

// Of a field: it is only touched with the lock held.
#define MOVA_GUARDED_BY(lock) MOVA_THREAD_SAFETY(guarded_by(lock))

// Of functions: callers hold the lock; callers do not; it takes the lock; it lets go of it.
#define MOVA_REQUIRES(...) MOVA_THREAD_SAFETY(requires_capability(__VA_ARGS__))
#define MOVA_EXCLUDES(...) MOVA_THREAD_SAFETY(locks_excluded(__VA_ARGS__))
#define MOVA_ACQUIRE(...) MOVA_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define MOVA_RELEASE(...) MOVA_THREAD_SAFETY(release_capability(__VA_ARGS__))

// Of a function that does what the analysis cannot follow; the reason stands beside it.
#define MOVA_NO_THREAD_SAFETY_ANALYSIS MOVA_THREAD_SAFETY(no_thread_safety_analysis)
