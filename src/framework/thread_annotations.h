// Which lock guards what, checked by Clang's thread-safety analysis; nothing for other compilers.
#pragma once

#if defined(__clang__)
#define RAMPART_THREAD_ATTRIBUTE(attribute) __attribute__((attribute))
#else
#define RAMPART_THREAD_ATTRIBUTE(attribute)
#endif

#define RAMPART_CAPABILITY(name) RAMPART_THREAD_ATTRIBUTE(capability(name))
#define RAMPART_SCOPED_CAPABILITY RAMPART_THREAD_ATTRIBUTE(scoped_lockable)
#define RAMPART_GUARDED_BY(lock) RAMPART_THREAD_ATTRIBUTE(guarded_by(lock))
#define RAMPART_PT_GUARDED_BY(lock) RAMPART_THREAD_ATTRIBUTE(pt_guarded_by(lock))
#define RAMPART_REQUIRES(...) RAMPART_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define RAMPART_REQUIRES_SHARED(...) RAMPART_THREAD_ATTRIBUTE(requires_shared_capability(__VA_ARGS__))
#define RAMPART_ACQUIRE(...) RAMPART_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RAMPART_ACQUIRE_SHARED(...) RAMPART_THREAD_ATTRIBUTE(acquire_shared_capability(__VA_ARGS__))
#define RAMPART_RELEASE(...) RAMPART_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define RAMPART_RELEASE_SHARED(...) RAMPART_THREAD_ATTRIBUTE(release_shared_capability(__VA_ARGS__))
#define RAMPART_TRY_ACQUIRE(...) RAMPART_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define RAMPART_EXCLUDES(...) RAMPART_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define RAMPART_RETURN_CAPABILITY(lock) RAMPART_THREAD_ATTRIBUTE(lock_returned(lock))
#define RAMPART_NO_THREAD_SAFETY_ANALYSIS RAMPART_THREAD_ATTRIBUTE(no_thread_safety_analysis)
