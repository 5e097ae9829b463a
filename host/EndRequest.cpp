#include "host/EndRequest.h"

#include <utility>

#if defined(_WIN32)
#include <boost/asio/post.hpp>

#include <mutex>
#include <windows.h>
#else
#include <boost/asio/signal_set.hpp>

#include <csignal>
#include <vector>
#endif

namespace Rvl {

#if defined(_WIN32)

struct CEndRequest::Private
{
    boost::asio::io_context& context;
    std::function<void()> call;

    /// The one that lives, or null; the system calls on a thread of its own.
    static inline Private* current = nullptr;
    static inline std::mutex mutex;

    static BOOL WINAPI onConsoleEvent(DWORD event)
    {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            if (current) {
                boost::asio::post(current->context, current->call);
            }
        }
        if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
            // returning would end the process here and now: this thread goes with the process instead
            Sleep(INFINITE);
        }
        return TRUE;
    }
};

CEndRequest::CEndRequest(boost::asio::io_context& context, std::function<void()> call)
    : private_(new Private{context, std::move(call)})
{
    // Once and for good: the system holds its lock on the handlers while one of them runs, so taking this one
    // off again would wait for a thread that waits for the end of the process.
    [[maybe_unused]] static const BOOL handles = SetConsoleCtrlHandler(&Private::onConsoleEvent, TRUE);
    const std::lock_guard<std::mutex> lock(Private::mutex);
    Private::current = private_.get();
}

CEndRequest::~CEndRequest()
{
    const std::lock_guard<std::mutex> lock(Private::mutex);
    Private::current = nullptr;
}

#else

namespace {

/// Whether whoever started the process had it ignore the signal, as nohup does, and some shells for jobs in
/// the background.
bool isIgnored(int signal)
{
    struct sigaction action = {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

struct CEndRequest::Private
{
    boost::asio::signal_set signals;
    std::function<void()> call;
    std::vector<int> handled;

    void wait()
    {
        signals.async_wait([this](const boost::system::error_code& error, int) {
            if (!error) {
                call();
                wait();
            }
        });
    }
};

CEndRequest::CEndRequest(boost::asio::io_context& context, std::function<void()> call)
    : private_(new Private{boost::asio::signal_set(context), std::move(call), {}})
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        if (!isIgnored(signal)) {
            private_->signals.add(signal);
            private_->handled.push_back(signal);
        }
    }
    private_->wait();
}

CEndRequest::~CEndRequest()
{
    // blocked in between, so that no signal meets the system's own handler, which ends the process
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : private_->handled) {
        sigaddset(&set, signal);
    }
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &set, &before);
    boost::system::error_code ignored;
    private_->signals.clear(ignored);
    for (const int signal : private_->handled) {
        std::signal(signal, SIG_IGN);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

#endif

} // namespace Rvl
