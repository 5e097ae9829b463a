#include "host/LastResort.h"

#include "host/Patience.h"

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

/// Ends the process once it has taken that long: the action may need a lock that is held by what failed.
void limitTheTime()
{
    try {
        [[maybe_unused]] static auto* const limit = new std::thread([] { // never joined
            std::this_thread::sleep_for(actionLimit);
            std::abort();
        });
    } catch (...) {
        // there can be no more threads, which may be why the process ends
#if !defined(_WIN32)
        std::signal(SIGALRM, SIG_DFL);
        alarm(static_cast<unsigned>(actionLimit.count()));
#endif
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

[[noreturn]] void takeLastResort()
{
    limitTheTime();
    actionMutex.lock(); // never unlocked again: there is no way back
    const auto message = beginMessage();
    try {
        if (message) {
            message->wait(messagePatience);
        }
        if (lastAction) {
            lastAction();
        }
        if (message) {
            message->wait(messagePatience);
        }
    } catch (...) {
    }
    if (formerHandler) {
        formerHandler();
    }
    std::abort();
}

} // namespace

CLastResort::CLastResort(std::function<void()> action)
{
    const std::lock_guard<std::mutex> lock(actionMutex);
    lastAction = std::move(action);
    formerHandler = std::set_terminate(&takeLastResort);
}

CLastResort::~CLastResort()
{
    const std::lock_guard<std::mutex> lock(actionMutex);
    lastAction = nullptr;
    std::set_terminate(formerHandler);
}

} // namespace Rvl
