#include "host/process/LogSetup.h"

#include "host/base/ControlCharacters.h"
#include "host/process/BackgroundOutput.h"

#include <log4cplus/appender.h>
#include <log4cplus/configurator.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

#include <algorithm>
#include <cctype>
#include <iostream>
#include <memory>
#include <sstream>

namespace Rvl {

namespace {

/// Writes log records to standard error, or to an output in the background, one line each whatever a plug-in
/// puts into them.
class CErrorAppender : public log4cplus::Appender
{
public:
    CErrorAppender()
    {
        setLayout(std::make_unique<log4cplus::PatternLayout>("%D{%H:%M:%S.%q} %-5p [%c] %m"));
    }
    ~CErrorAppender() override { destructorImpl(); }
    void close() override { closed = true; }
    void setOutput(CBackgroundOutput* output) { output_ = output; }

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& event) override
    {
        std::ostringstream text;
        getLayout()->formatAndAppend(text, event);
        const std::string record = escapeControlCharacters(text.str()) + "\n";
        if (output_) {
            output_->writeIfThereIsRoom(record);
        } else {
            std::cerr << record << std::flush;
        }
    }

private:
    CBackgroundOutput* output_ = nullptr;
};

/// The root logger's, set by the last setUpLogging().
CErrorAppender* errorAppender = nullptr;

/// Returns after records that are being written.
void setOutputOfLog(CBackgroundOutput* output)
{
    if (errorAppender) {
        const log4cplus::thread::MutexGuard guard(errorAppender->access_mutex);
        errorAppender->setOutput(output);
    }
}

} // namespace

const std::vector<std::string>& logLevels()
{
    static const std::vector<std::string> levels{"trace", "debug", "info", "warn", "error", "off"};
    return levels;
}

void setUpLogging(const std::string& level)
{
    std::string name = level;
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    log4cplus::initialize();
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    root.removeAllAppenders();
    errorAppender = new CErrorAppender;
    root.addAppender(log4cplus::SharedAppenderPtr(errorAppender));
    root.setLogLevel(log4cplus::getLogLevelManager().fromString(name));
}

CBackgroundLog::CBackgroundLog(CBackgroundOutput& output)
{
    setOutputOfLog(&output);
}

CBackgroundLog::~CBackgroundLog()
{
    setOutputOfLog(nullptr);
}

CLogSilence::CLogSilence(const std::string& logger)
    : logger_(log4cplus::Logger::getInstance(logger)), level_(logger_.getLogLevel())
{
    if (log4cplus::Logger::getRoot().getLogLevel() >= log4cplus::INFO_LOG_LEVEL) {
        logger_.setLogLevel(log4cplus::OFF_LOG_LEVEL);
    }
}

CLogSilence::~CLogSilence()
{
    logger_.setLogLevel(level_);
}

} // namespace Rvl
