/* Thread exclusion: a small recursive lock, for a client that sets an object's parameters on one thread and
 * runs it on another. No system object stands behind it: a thread that waits tries again every millisecond,
 * and which of several waiting threads comes first is open. */
#ifndef ZOVEK_THREAD_EXCLUSION_H
#define ZOVEK_THREAD_EXCLUSION_H
#include <zovek/base.h>

ZV_BEGIN
typedef struct ZVThreadExclusion ZVThreadExclusion;
struct ZVThreadExclusion {
    int32_t  entry_count;  /* entries of the holder now in force; 0 when free */
    uint32_t owner_thread; /* the holder's thread identity; 0 when free and for a moment around that */
};

ZV_API ZVThreadExclusion *ZVThreadExclusion_Construct(ZVThreadExclusion *self);
/* Owns nothing. That no thread holds or awaits it is the caller's duty. */
ZV_API void ZVThreadExclusion_Destruct(ZVThreadExclusion *self, uint32_t flags);
/* Returns when the calling thread holds the lock, at once where it does already. What the holder before wrote
 * is then visible. */
ZV_API void ZVThreadExclusion_Enter(ZVThreadExclusion *self);
/* Gives up one entry; as many Leave calls as Enter calls free the lock. A thread that holds nothing must not
 * call it: the count falls all the same. */
ZV_API void ZVThreadExclusion_Leave(ZVThreadExclusion *self);
ZV_END
#endif
