#include "runtime/ThreadName.h"

#include "runtime/SystemTimeline.h"

#include <gtest/gtest.h>

#if defined(__linux__)

#include <pthread.h>

#include <future>
#include <string>
#include <thread>

using namespace Rvl;

namespace {

std::string ownName()
{
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    return name;
}

} // namespace

TEST(ThreadNameTest, LongNameIsCut)
{
    std::string name;
    std::thread([&] {
        setThreadName("a name that is too long");
        name = ownName();
    }).join();
    EXPECT_EQ("a name that is ", name);
}

TEST(ThreadNameTest, ThreadOfAWorkerHasItsName)
{
    CSystemTimeline timeline;
    const auto worker = timeline.makeWorker("Bench");
    std::promise<std::string> name;
    worker->post([&] { name.set_value(ownName()); });
    EXPECT_EQ("Bench", name.get_future().get());
}

#endif
