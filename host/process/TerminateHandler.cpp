#include "host/process/TerminateHandler.h"

#include "host/process/DeadlineTasks.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#if !defined(_WIN32)
#include <pthread.h>
#include <unistd.h>
#endif

namespace Rvl {

namespace {

std::mutex actionMutex;
std::function<void()> lastAction;
SShutdownLimits actionLimits;
std::terminate_handler formerHandler = nullptr;

/// The text of the exception that is being handled.
std::string currentFault()
{
    try {
        if (const auto exception = std::current_exception()) {
            std::rethrow_exception(exception);
        }
    } catch (const std::exception& exception) {
        return exception.what();
    } catch (...) {
        return "an exception of unknown kind";
    }
    return "no exception is known";
}

#if !defined(_WIN32)
/// The limit without a thread, in whole seconds.
void limitTheTimeByASignal()
{
    static std::atomic_flag limited = ATOMIC_FLAG_INIT; // another failure must not extend it
    if (limited.test_and_set()) {
        return;
    }
    std::signal(SIGALRM, [](int) { std::abort(); });
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    alarm(static_cast<unsigned>(std::max<std::int64_t>(actionLimits.terminateAction.count() / 1000, 1)));
}
#endif

/// Ends the process after the limit: the action may need a lock that the failed thread holds. False if there
/// can be no more threads, which may be why the process ends.
bool limitTheTime()
{
    try {
        [[maybe_unused]] static auto* const limit = new std::thread([] { // never joined
            std::this_thread::sleep_for(actionLimits.terminateAction);
            std::abort();
        });
        return true;
    } catch (...) {
#if !defined(_WIN32)
        limitTheTimeByASignal();
#endif
        return false;
    }
}

/// Begins to report why the process ends; empty if there is no memory for it. On a thread of its own, as
/// writing to standard error may block.
std::unique_ptr<CDeadlineTasks> beginMessage()
{
    try {
        auto message = std::make_unique<CDeadlineTasks>();
        message->add("the message", [fault = currentFault()] {
            std::cerr << "the process ends because of an uncaught exception: " + fault + "\n" << std::flush;
        });
        message->start();
        return message;
    } catch (...) {
        return nullptr;
    }
}

void waitFor(const std::unique_ptr<CDeadlineTasks>& message)
{
    try {
        if (message) {
            message->wait(actionLimits.terminateMessage);
        }
    } catch (...) {
    }
}

void takeAction()
{
    try {
        if (lastAction) {
            lastAction();
        }
    } catch (...) {
    }
}

[[noreturn]] void handleTerminate()
{
    const bool othersCanWrite = limitTheTime();
    actionMutex.lock(); // never unlocked again: there is no way back
    if (!othersCanWrite) {
        takeAction(); // first, as writing the message may block this thread
    }
    const auto message = beginMessage();
    waitFor(message);
    if (othersCanWrite) {
        takeAction();
        waitFor(message);
    }
    if (formerHandler) {
        formerHandler();
    }
    std::abort();
}

} // namespace

CTerminateHandler::CTerminateHandler(std::function<void()> action, const SShutdownLimits& limits)
{
    const std::lock_guard<std::mutex> lock(actionMutex);
    lastAction = std::move(action);
    actionLimits = limits;
    formerHandler = std::set_terminate(&handleTerminate);
}

CTerminateHandler::~CTerminateHandler()
{
    const std::lock_guard<std::mutex> lock(actionMutex);
    lastAction = nullptr;
    std::set_terminate(formerHandler);
}

} // namespace Rvl
