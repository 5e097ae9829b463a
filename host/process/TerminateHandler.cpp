#include "host/process/TerminateHandler.h"

#include "host/process/DeadlineTasks.h"

#include <atomic>
#include <chrono>
#include <csignal>
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
std::terminate_handler formerHandler = nullptr;

constexpr std::chrono::seconds actionLimit(10);
constexpr std::chrono::milliseconds messagePatience(300);

/// What is thrown at this moment.
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
/// For want of a thread that does it.
void limitTheTimeByASignal()
{
    static std::atomic_flag limited = ATOMIC_FLAG_INIT; // another failure must not put it off
    if (limited.test_and_set()) {
        return;
    }
    std::signal(SIGALRM, [](int) { std::abort(); });
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    alarm(static_cast<unsigned>(actionLimit.count()));
}
#endif

/// Ends the process once it has taken that long: the action may need a lock that is held by what failed.
/// False if there can be no more threads, which may be why the process ends.
bool limitTheTime()
{
    try {
        [[maybe_unused]] static auto* const limit = new std::thread([] { // never joined
            std::this_thread::sleep_for(actionLimit);
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

/// Tells why the process ends; empty if there is no memory for it. Whoever reads standard error may keep us
/// waiting.
std::shared_ptr<SAttempts> beginMessage()
{
    try {
        auto message = std::make_shared<SAttempts>();
        message->begin([fault = currentFault()] {
            std::cerr << "the process ends, as nobody caught an exception: " + fault + "\n" << std::flush;
        });
        return message;
    } catch (...) {
        return nullptr;
    }
}

void waitFor(const std::shared_ptr<SAttempts>& message)
{
    try {
        if (message) {
            message->wait(messagePatience);
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

[[noreturn]] void takeLastResort()
{
    const bool othersCanWrite = limitTheTime();
    actionMutex.lock(); // never unlocked again: there is no way back
    if (!othersCanWrite) {
        takeAction(); // first, as this thread would be the one that waits for the reader
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

CTerminateHandler::CTerminateHandler(std::function<void()> action)
{
    const std::lock_guard<std::mutex> lock(actionMutex);
    lastAction = std::move(action);
    formerHandler = std::set_terminate(&takeLastResort);
}

CTerminateHandler::~CTerminateHandler()
{
    const std::lock_guard<std::mutex> lock(actionMutex);
    lastAction = nullptr;
    std::set_terminate(formerHandler);
}

} // namespace Rvl
