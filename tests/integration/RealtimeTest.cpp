// What the host does with --realtime.

#include "tests/integration/HostProgram.h"
#include "tests/support/ProgramRun.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <map>

#if defined(_WIN32)
#include <windows.h>
#else
#include <sched.h>
#include <unistd.h>
#endif

using namespace Rvl::Test;
using testing::HasSubstr;

namespace {

const std::string example = std::string(RIVLINK_EXAMPLES_DIRECTORY) + "/pid/pid.xml";

#if !defined(_WIN32)

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool memoryCanBeLocked = false; // the sanitizers' own mlockall() does nothing and reports success
#else
constexpr bool memoryCanBeLocked = true;
#endif

const std::string schedulingRefusal =
    "--realtime: the system refuses real-time scheduling (Operation not permitted); it takes root, the "
    "capability CAP_SYS_NICE or a limit RLIMIT_RTPRIO of 10 or more\n";

/// How many threads of a process are served in real time, by priority.
std::map<int, int> realtimeThreads(int process)
{
    std::map<int, int> count;
    for (const auto& thread :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        const int number = std::stoi(thread.path().filename());
        sched_param parameters{};
        if (sched_getscheduler(number) == SCHED_FIFO && sched_getparam(number, &parameters) == 0) {
            ++count[parameters.sched_priority];
        }
    }
    return count;
}

#endif

} // namespace

TEST(Realtime, LoopsAndDevicesAreServedFirstAsFarAsTheSystemAllowsIt)
{
    CProgramRun run(host, {"run", example, "--for", "30s", "--realtime"});
    ASSERT_TRUE(eventually([&] { return run.outSoFar().find("Jacket: auto") != std::string::npos; }));
#if defined(_WIN32)
    const HANDLE process =
        OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(run.process()));
    EXPECT_EQ(static_cast<DWORD>(HIGH_PRIORITY_CLASS), GetPriorityClass(process));
    CloseHandle(process);
#else
    std::map<int, int> threads;
    const bool hostFollows = eventually(
        [&] {
            threads = realtimeThreads(run.process());
            return threads[1] == 2;
        },
        5.0);
    const std::string status = readFile("/proc/" + std::to_string(run.process()) + "/status");
#endif
    run.end(eEnd::Interrupt);
    const SProgramResult result = run.wait();
    EXPECT_EQ(0, result.exitCode);
#if defined(_WIN32)
    EXPECT_EQ("--realtime: memory is not locked on this system\n", result.err);
#else
    // what this computer lets its users do is its own affair, but the host has to know
    if (result.err.find("real-time scheduling") == std::string::npos) {
        EXPECT_EQ(2, threads[10]) << "the loop's and the bench's";
        EXPECT_TRUE(hostFollows) << "the host's own two, after them: " << threads[1];
    } else {
        EXPECT_THAT(result.err, HasSubstr(schedulingRefusal));
        EXPECT_EQ(0, threads[1] + threads[10]);
    }
    if (memoryCanBeLocked) {
        EXPECT_EQ(result.err.find("to lock memory") != std::string::npos,
                  status.find("VmLck:\t       0 kB") != std::string::npos)
            << status;
    }
#endif
}

#if defined(_WIN32)

TEST(Realtime, WhatTheSystemRefusesIsReportedAndTheRunGoesOn)
{
    const SProgramResult result = runProgram(host, {"run", example, "--for", "500ms", "--realtime"});
    EXPECT_EQ("--realtime: memory is not locked on this system\n", result.err);
    EXPECT_EQ(0, result.exitCode);
    EXPECT_THAT(result.out, HasSubstr("  Jacket   0     Rvl::CPIDControlLoop  "));
}

#else

TEST(Realtime, WhatTheSystemRefusesIsReportedAndTheRunGoesOn)
{
    std::vector<std::string> command{"--rtprio=0", "--memlock=65536"};
    if (geteuid() == 0) {
        command.insert(command.end(), {"setpriv", "--bounding-set=-sys_nice,-ipc_lock"});
    }
    command.insert(command.end(), {host, "run", example, "--for", "500ms", "--realtime"});
    const SProgramResult result = runProgram("/usr/bin/prlimit", command);
    EXPECT_EQ(schedulingRefusal + (memoryCanBeLocked
                                       ? "--realtime: the system refuses to lock memory (Cannot allocate "
                                         "memory); it takes root, the capability CAP_IPC_LOCK or no limit "
                                         "RLIMIT_MEMLOCK\n"
                                       : ""),
              result.err);
    EXPECT_EQ(0, result.exitCode);
    EXPECT_THAT(result.out, HasSubstr("  Jacket   0     Rvl::CPIDControlLoop  "));
}

#endif
