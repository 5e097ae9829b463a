#include "host/process/TerminateHandler.h"

#include "common/ThreadSafety.h"
#include "host/base/ControlCharacters.h"
#include "host/process/AbortAlarm.h"
#include "host/process/CrashHandler.h"
#include "host/process/DeadlineTasks.h"
#include "runtime/ThreadName.h"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <thread>
#include <utility>

namespace Rvl {

namespace {

CMutex actionMutex;
std::function<void()> lastAction RVL_GUARDED_BY(actionMutex);
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
        return escapeControlCharacters(exception.what());
    } catch (...) {
        return "an exception of unknown kind";
    }
    return "no exception is known";
}

/// Ends the process after the limit: the action may need a lock that the failed thread holds. False if there
/// can be no more threads, which may be why the process ends.
bool limitTheTime()
{
    try {
        [[maybe_unused]] static auto* const limit = new std::thread([] { // never joined
            setThreadName("end limit");
            std::this_thread::sleep_for(actionLimits.terminateAction);
            CCrashHandler::disarm();
            std::abort();
        });
        return true;
    } catch (...) {
        abortByAlarmAfter(actionLimits.terminateAction);
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

void takeAction() RVL_REQUIRES(actionMutex)
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
    CCrashHandler::disarm(); // all that it would do has been done
    if (formerHandler) {
        formerHandler();
    }
    std::abort();
}

} // namespace

CTerminateHandler::CTerminateHandler(std::function<void()> action, const SShutdownLimits& limits)
{
    const CMutexLock lock(actionMutex);
    lastAction = std::move(action);
    actionLimits = limits;
    formerHandler = std::set_terminate(&handleTerminate);
}

CTerminateHandler::~CTerminateHandler()
{
    const CMutexLock lock(actionMutex);
    lastAction = nullptr;
    std::set_terminate(formerHandler);
}

} // namespace Rvl
