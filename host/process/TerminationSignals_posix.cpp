#include "host/process/TerminationSignals.h"

#include <boost/asio/signal_set.hpp>

#include <algorithm>
#include <csignal>
#include <utility>
#include <vector>

namespace Rvl {

namespace {

constexpr int endingSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGXCPU,
#if defined(SIGPWR)
                                 SIGPWR
#endif
};

/// Signals that by default end or stop a process and have no meaning for this one: timers and input that it
/// has not requested, output to a terminal of which it is in the background, and what is free for agreements
/// between programs.
std::vector<int> meaninglessSignals()
{
    std::vector<int> signals{SIGUSR1, SIGUSR2, SIGALRM, SIGVTALRM, SIGPROF, SIGTTIN, SIGTTOU};
#if defined(SIGIO)
    signals.push_back(SIGIO);
#endif
#if defined(SIGSTKFLT)
    signals.push_back(SIGSTKFLT);
#endif
#if defined(SIGRTMIN)
    for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal) {
        signals.push_back(signal);
    }
#endif
    return signals;
}

/// Whether nothing has been decided about the signal: it was not set to be ignored before the process
/// started, as nohup does, and some shells for jobs in the background, and no plug-in handles it.
bool isUndecided(int signal)
{
    struct sigaction action = {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_DFL;
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

    /// The signals in that set.
    static std::vector<int>& keptSignals()
    {
        static auto* const signals = new std::vector<int>();
        return *signals;
    }

    boost::asio::signal_set signals;
    std::function<void()> end;
    std::function<void()> stop;

    void add(int signal)
    {
        std::vector<int>& known = keptSignals();
        const bool isKept = std::find(known.begin(), known.end(), signal) != known.end();
        if (isKept || isUndecided(signal)) {
            if (!isKept) {
                known.push_back(signal);
                kept().add(signal);
            }
            signals.add(signal);
        }
    }

    void wait()
    {
        signals.async_wait([this](const boost::system::error_code& error, int signal) {
            if (!error) {
                if (signal != SIGTSTP) {
                    end();
                } else if (stop) {
                    stop();
                }
                wait();
            }
        });
    }
};

CTerminationSignals::CTerminationSignals(boost::asio::io_context& context, std::function<void()> end,
                                         std::function<void()> stop)
    : private_(new Private{boost::asio::signal_set(context), std::move(end), std::move(stop)})
{
    for (const int signal : endingSignals) {
        private_->add(signal);
    }
    private_->add(SIGTSTP);
    for (const int signal : meaninglessSignals()) {
        if (isUndecided(signal)) {
            std::signal(signal, SIG_IGN);
        }
    }
    private_->wait();
}

CTerminationSignals::~CTerminationSignals() = default;

void CTerminationSignals::endProcessBeforeFirst() {}

void CTerminationSignals::stopProcess()
{
    std::raise(SIGSTOP); // SIGTSTP would not stop a process whose shell is gone
}

} // namespace Rvl
