// Work shared among threads: every item is done once, and a system that gives no threads costs time only.

#include <gtest/gtest.h>

#include <atomic>

#include "codecs/codec_workers.h"
#include "tests/codecs/j2k_test_streams.h"

#ifdef __linux__
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>

namespace {
std::atomic<int> threadsLeft{-1};  // threads that may still start, -1 for any number
}

// Stands before the system's function of that name.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                              void* argument) noexcept
{
    if (threadsLeft == 0) return EAGAIN;
    if (threadsLeft > 0) --threadsLeft;
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    return create(thread, attributes, start, argument);
}
#endif

namespace talv::j2k_test {
namespace {
TEST(CodecWorkers, DoEveryItemOnceLoopAfterLoop)
{
    for (unsigned count : {1u, 2u, 3u, 7u}) {
        CodecWorkers workers(count);
        for (size_t items = 0; items < 60; ++items) {
            std::vector<std::atomic<int>> done(items);
            workers.Run(items, [&](size_t i, unsigned thread) {
                EXPECT_LT(thread, count);
                ++done[i];
            });
            for (const std::atomic<int>& times : done) ASSERT_EQ(times, 1);
        }
    }
}

#ifdef __linux__
TEST(CodecWorkers, DoWithoutThreadsThatCannotBeStarted)
{
    const ByteVector stream = Sample("p0_10.j2k");
    const Picture expected = Decode(stream, 256, 256, 24, 1);
    for (int possible : {0, 1, 2}) {
        threadsLeft = possible;
        const Picture picture = Decode(stream, 256, 256, 24, 5);
        const int left = threadsLeft;
        threadsLeft = -1;
        EXPECT_EQ(left, 0) << "all that could start did";
        EXPECT_EQ(picture.status, kCodecOk) << possible;
        EXPECT_EQ(picture.rows, expected.rows) << possible;
    }
}
#endif
}  // namespace
}  // namespace talv::j2k_test
