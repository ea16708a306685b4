#pragma once

// What clang's thread safety analysis (-Wthread-safety) is told; other compilers see nothing.
//
// A lock class is a capability. Fields name the lock that guards them, functions the locks that they take,
// give up or need:
//
//   CLightMutex m_lock;
//   std::size_t m_waiting ORLO_GUARDED_BY(m_lock) = 0;
//   void _WakeOne() ORLO_REQUIRES(m_lock);

#if defined(__clang__)
#define ORLO_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define ORLO_THREAD_ANNOTATION(x)
#endif

/// On a class: its objects are locks; `name` is what the compiler calls them in its warnings.
#define ORLO_CAPABILITY(name) ORLO_THREAD_ANNOTATION(capability(name))
/// On a class: its objects take a lock in the constructor and give it up in the destructor.
#define ORLO_SCOPED_CAPABILITY ORLO_THREAD_ANNOTATION(scoped_lockable)

/// On a field: it is read and written with the lock held; the second form guards what a pointer points to.
#define ORLO_GUARDED_BY(lock) ORLO_THREAD_ANNOTATION(guarded_by(lock))
#define ORLO_PT_GUARDED_BY(lock) ORLO_THREAD_ANNOTATION(pt_guarded_by(lock))

/// On a function: the caller holds the locks, exclusively or shared, or must not hold them.
#define ORLO_REQUIRES(...) ORLO_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define ORLO_REQUIRES_SHARED(...) ORLO_THREAD_ANNOTATION(requires_shared_capability(__VA_ARGS__))
#define ORLO_EXCLUDES(...) ORLO_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))

/// On a function: it takes the locks (its own object without an argument), or tries to and answers `result`
/// when it did.
#define ORLO_ACQUIRE(...) ORLO_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define ORLO_ACQUIRE_SHARED(...) ORLO_THREAD_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
#define ORLO_TRY_ACQUIRE(...) ORLO_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define ORLO_TRY_ACQUIRE_SHARED(...) ORLO_THREAD_ANNOTATION(try_acquire_shared_capability(__VA_ARGS__))

/// On a function: it gives the locks up, those held exclusively, shared, or either way.
#define ORLO_RELEASE(...) ORLO_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define ORLO_RELEASE_SHARED(...) ORLO_THREAD_ANNOTATION(release_shared_capability(__VA_ARGS__))
#define ORLO_RELEASE_GENERIC(...) ORLO_THREAD_ANNOTATION(release_generic_capability(__VA_ARGS__))

/// On a function: the analysis leaves it out. The reason stands beside it.
#define ORLO_NO_THREAD_SAFETY_ANALYSIS ORLO_THREAD_ANNOTATION(no_thread_safety_analysis)
