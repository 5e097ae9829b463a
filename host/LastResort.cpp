#include "host/LastResort.h"

#include "host/Patience.h"

#include <chrono>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

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

[[noreturn]] void takeLastResort()
{
    // the action may need a lock that is held by what failed
    [[maybe_unused]] static auto* const limit = new std::thread([] { // never joined
        std::this_thread::sleep_for(actionLimit);
        std::abort();
    });
    actionMutex.lock(); // never unlocked again: there is no way back
    // whoever reads standard error may keep us waiting
    const auto message = std::make_shared<SAttempts>();
    message->begin([fault = currentFault()] {
        std::cerr << "the process ends, as nobody caught an exception: " + fault + "\n" << std::flush;
    });
    message->wait(messagePatience);
    try {
        if (lastAction) {
            lastAction();
        }
    } catch (...) {
    }
    message->wait(messagePatience);
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
