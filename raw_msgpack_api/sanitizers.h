// Whether a sanitizer watches this build; a few things cannot be done under one.
#ifndef VEK_RAW_MSGPACK_API_SANITIZERS_H
#define VEK_RAW_MSGPACK_API_SANITIZERS_H

#if defined(__has_feature)
#define VEK_HAS_FEATURE(name) __has_feature(name)
#else
#define VEK_HAS_FEATURE(name) 0
#endif

#if defined(__SANITIZE_ADDRESS__) || VEK_HAS_FEATURE(address_sanitizer)
#define VEK_ADDRESS_SANITIZER 1
#else
#define VEK_ADDRESS_SANITIZER 0
#endif

#if defined(__SANITIZE_THREAD__) || VEK_HAS_FEATURE(thread_sanitizer)
#define VEK_THREAD_SANITIZER 1
#else
#define VEK_THREAD_SANITIZER 0
#endif

#endif  // VEK_RAW_MSGPACK_API_SANITIZERS_H
