#include "host/commands/Run.h"

#include "host/base/ControlCharacters.h"
#include "host/base/SystemText.h"
#include "host/console/Summary.h"
#include "host/process/Terminal.h"

#include <algorithm>
#include <utility>

namespace Rvl {

CRun::CRun(const SRunOptions& options, CSession& session, ITimeline& timeline, IWorker& worker,
           CBackgroundOutput& output, CBackgroundOutput& errors, std::function<void()> onFailure)
    : options_(options), session_(session), timeline_(timeline), worker_(worker), output_(output),
      errors_(errors), onFailure_(std::move(onFailure)),
      observer_(session, timeline, worker, [this](const std::exception_ptr& exception) { fail(exception); })
{
    if (options_.record) {
        recorder_ = std::make_unique<CRecorder>(*options_.record, options_.replaceRecord,
                                                session_.snapshot().controllers);
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
    if (!options_.quiet && !options_.isVirtual) { // which has a progress bar
        consoleSink_ = std::make_unique<CConsoleSink>(output_, setUpTerminal());
        observer_.add(*consoleSink_);
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
        if (recordSink_) {
            recordSink_->take(session_.snapshot());
        }
    } catch (const std::exception& exception) {
        errors_.write(
            "the last rows of the record are missing: " + escapeControlCharacters(exception.what()) + "\n");
    }
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
