#include "host/commands/Run.h"

#include "host/base/ControlCharacters.h"
#include "host/base/HostException.h"
#include "host/base/SystemText.h"
#include "host/base/UtcText.h"
#include "host/console/Summary.h"
#include "host/history/HistoryReader.h"
#include "host/history/HistoryWriter.h"
#include "host/process/Terminal.h"

#include <algorithm>
#include <utility>

namespace Rvl {

CRun::CRun(const SRunOptions& options, CSession& session, ITimeline& timeline, IWorker& worker,
           CBackgroundOutput& output, CBackgroundOutput& errors, std::function<void()> onFailure,
           std::vector<ISnapshotSink*> furtherSinks)
    : options_(options), session_(session), timeline_(timeline), worker_(worker), output_(output),
      errors_(errors), onFailure_(std::move(onFailure)), furtherSinks_(std::move(furtherSinks)),
      observer_(session, timeline, worker, [this](const std::exception_ptr& exception) { fail(exception); })
{
    if (options_.record) {
        recorder_ = std::make_unique<CRecorder>(*options_.record, options_.replaceRecord,
                                                session_.snapshot().controllers);
    }
    if (options_.history) {
        openHistory();
    }
}

void CRun::openHistory()
{
    auto writer = std::make_unique<CHistoryWriter>(*options_.history, options_.historyRetention);
    if (options_.isVirtual) {
        const auto range = CHistoryReader(*options_.history).range();
        if (range && range->to >= timeline_.utc()) {
            throw CHostException(ExitFailure, "the history " + textOf(*options_.history) +
                                                  " already has values until " + utcText(range->to) +
                                                  ", and virtual time begins at " + utcText(timeline_.utc()) +
                                                  "; expected another file");
        }
    }
    CHistorySink::SSettings settings;
    settings.interval = options_.historyInterval;
    settings.threads = options_.isVirtual ? CHistorySink::Inline : CHistorySink::OwnThread;
    historySink_ =
        std::make_unique<CHistorySink>(std::move(writer), settings, session_.calls(),
                                       [this](const std::string& text) { errors_.write(text + "\n"); });
}

void CRun::note(const SCommandRecord& command)
{
    if (historySink_) {
        historySink_->add(command);
    }
}

bool CRun::begin(const std::function<void()>& start)
{
    try {
        start();
        if (!session_.isStartCancelled()) {
            addSinks();
            observer_.start();
        }
        return true;
    } catch (...) {
        fail(std::current_exception());
        return false;
    }
}

void CRun::addSinks()
{
    if (recorder_) {
        recordSink_ =
            std::make_unique<CRecordSink>(*recorder_, options_.recordInterval, session_.calls(), [this] {
                errors_.write("writing the record " + textOf(*options_.record) +
                              " failed; control goes on without a record\n");
            });
        observer_.add(*recordSink_);
    }
    if (historySink_) {
        observer_.add(*historySink_);
    }
    if (!options_.quiet && !options_.isVirtual) { // which has a progress bar
        consoleSink_ = std::make_unique<CConsoleSink>(output_, setUpTerminal());
        observer_.add(*consoleSink_);
    }
    for (ISnapshotSink* const sink : furtherSinks_) {
        observer_.add(*sink);
    }
}

void CRun::watchFirstStep()
{
    const auto& controllers = session_.controllers();
    if (std::none_of(controllers.begin(), controllers.end(),
                     [](const CController* controller) { return controller->loops() != nullptr; })) {
        return;
    }
    firstStepTimer_ =
        std::make_unique<CPeriodicTimer>(timeline_, worker_, std::chrono::milliseconds(1), [this] {
            try {
                if (!session_.hasStepped()) {
                    return true;
                }
            } catch (...) {
                fail(std::current_exception());
                return false;
            }
            untilFirstStep_ = std::chrono::duration_cast<std::chrono::microseconds>(
                std::chrono::steady_clock::now() - options_.programStart);
            return false;
        });
}

void CRun::end()
{
    firstStepTimer_.reset();
    observer_.stop();
    if (!failure_.empty()) {
        return;
    }
    try {
        // once the controllers are being disabled, their states before that are the result of the run
        const bool isLate = session_.isDisabling() && observer_.latest();
        summaryText_ =
            summary((isLate ? *observer_.latest() : session_.snapshot()).controllers, untilFirstStep_);
    } catch (...) {
        fail(std::current_exception());
    }
}

void CRun::recordEnd()
{
    try {
        if (!recordSink_ && !historySink_) {
            return;
        }
        const SSnapshot snapshot = session_.snapshot();
        if (historySink_) {
            historySink_->take(snapshot);
        }
        if (recordSink_) {
            recordSink_->take(snapshot);
        }
    } catch (const std::exception& exception) {
        errors_.write(
            "the last rows of the record are missing: " + escapeControlCharacters(exception.what()) + "\n");
    }
}

bool CRun::closeHistory(std::chrono::milliseconds limit)
{
    return !historySink_ || historySink_->close(timeline_.utc(), limit);
}

void CRun::fail(const std::exception_ptr& exception)
{
    try {
        std::rethrow_exception(exception);
    } catch (const std::exception& caught) {
        failure_ = escapeControlCharacters(caught.what());
        failure_ = failure_.empty() ? "an exception without a text" : failure_;
    } catch (...) {
        failure_ = "an exception of unknown kind";
    }
    onFailure_();
}

} // namespace Rvl
