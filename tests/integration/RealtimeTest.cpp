// What the host does when it is asked to serve its loops in real time.

#include "tests/support/ProgramRun.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#if !defined(_WIN32)
#include <sched.h>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>
#endif

using namespace Rvl::Test;
using testing::HasSubstr;

namespace {

const std::string host = RIVLINK_HOST_PROGRAM;
const std::string example = std::string(RIVLINK_EXAMPLES_DIRECTORY) + "/pid/pid.xml";

#if !defined(_WIN32)

/// Whether this process may do what the host is asked for; tried where it leaves nothing behind.
bool isAllowed()
{
    bool allowed = false;
    std::thread([&allowed] {
        sched_param parameters{};
        parameters.sched_priority = 10;
        allowed = sched_setscheduler(0, SCHED_FIFO, &parameters) == 0;
    }).join();
    if (mlockall(MCL_FUTURE | MCL_ONFAULT) != 0) {
        return false;
    }
    munlockall();
    return allowed;
}

/// How many threads of a process are served in real time.
int realtimeThreads(int process)
{
    int count = 0;
    for (const auto& thread :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        count += sched_getscheduler(std::stoi(thread.path().filename())) == SCHED_FIFO;
    }
    return count;
}

#endif

} // namespace

TEST(Realtime, LoopsAndDevicesAreServedFirstAsFarAsTheSystemAllowsIt)
{
#if defined(_WIN32)
    const SProgramResult result = runProgram(host, {"run", example, "--for", "500ms", "--realtime"});
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ("--realtime: memory is not locked on this system\n", result.err);
#else
    CProgramRun run(host, {"run", example, "--for", "30s", "--realtime"});
    ASSERT_TRUE(eventually([&] { return run.outSoFar().find("Jacket: auto") != std::string::npos; }));
    const int threads = realtimeThreads(run.process());
    const std::string status = readFile("/proc/" + std::to_string(run.process()) + "/status");
    const bool mainThread = sched_getscheduler(run.process()) == SCHED_FIFO;
    run.end(eEnd::Interrupt);
    const SProgramResult result = run.wait();
    EXPECT_EQ(0, result.exitCode);
    EXPECT_FALSE(mainThread) << "the table and the record can wait";
    if (isAllowed()) {
        EXPECT_GE(threads, 2) << "the loop's and the bench's";
        EXPECT_THAT(status, testing::Not(HasSubstr("VmLck:\t       0 kB")));
        EXPECT_EQ("", result.err);
    } else {
        EXPECT_THAT(result.err, HasSubstr("--realtime: the system refuses "));
    }
#endif
}

TEST(Realtime, WhatTheSystemRefusesIsToldAndTheRunGoesOn)
{
#if defined(_WIN32)
    const SProgramResult result = runProgram(host, {"run", example, "--for", "500ms", "--realtime"});
    EXPECT_THAT(result.err, HasSubstr("--realtime: "));
#else
    std::vector<std::string> command{"--rtprio=0", "--memlock=65536"};
    if (geteuid() == 0) {
        command.insert(command.end(), {"setpriv", "--bounding-set=-sys_nice,-ipc_lock"});
    }
    command.insert(command.end(), {host, "run", example, "--for", "500ms", "--realtime"});
    const SProgramResult result = runProgram("/usr/bin/prlimit", command);
    EXPECT_EQ(
        "--realtime: the system refuses real-time scheduling (Operation not permitted); it takes root, the "
        "capability CAP_SYS_NICE or a limit RLIMIT_RTPRIO of 10 or more\n"
        "--realtime: the system refuses to lock memory (Cannot allocate memory); it takes root, the "
        "capability CAP_IPC_LOCK or a larger RLIMIT_MEMLOCK\n",
        result.err);
#endif
    EXPECT_EQ(0, result.exitCode);
    EXPECT_THAT(result.out, HasSubstr("  Jacket   0     Rvl::CPIDControlLoop  "));
}
