#include "host/process/TerminationSignals.h"

#include <boost/asio/signal_set.hpp>

#include <csignal>
#include <utility>

namespace Rvl {

namespace {

/// Whether whoever started the process had it ignore the signal, as nohup does, and some shells for jobs in
/// the background.
bool isIgnored(int signal)
{
    struct sigaction action = {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

struct CTerminationSignals::Private
{
    /// Like `signals`, but for good and heard by nobody: while one set is there the system's own handler,
    /// which ends the process, is not. Any thread may be the one that a signal meets, so blocking them would
    /// not do.
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
