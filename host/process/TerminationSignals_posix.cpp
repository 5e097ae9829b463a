#include "host/process/TerminationSignals.h"

#include <boost/asio/signal_set.hpp>

#include <csignal>
#include <utility>

namespace Rvl {

namespace {

/// Whether the signal was set to be ignored before the process started, as nohup does, and some shells for
/// jobs in the background.
bool isIgnored(int signal)
{
    struct sigaction action = {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

struct CTerminationSignals::Private
{
    /// A signal set without handlers that is never destroyed: while it exists the system's default action,
    /// which ends the process, stays replaced. Blocking the signals would have to be done in every thread.
    static boost::asio::signal_set& kept()
    {
        static auto* const context = new boost::asio::io_context(1);
        static auto* const set = new boost::asio::signal_set(*context);
        return *set;
    }

    boost::asio::signal_set signals;
    std::function<void()> call;

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

CTerminationSignals::CTerminationSignals(boost::asio::io_context& context, std::function<void()> call)
    : private_(new Private{boost::asio::signal_set(context), std::move(call)})
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        if (!isIgnored(signal)) {
            Private::kept().add(signal);
            private_->signals.add(signal);
        }
    }
    private_->wait();
}

CTerminationSignals::~CTerminationSignals() = default;

void CTerminationSignals::endProcessBeforeFirst() {}

} // namespace Rvl
