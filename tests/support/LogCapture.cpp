#include "tests/support/LogCapture.h"

#include <log4cplus/appender.h>
#include <log4cplus/spi/loggingevent.h>

#include <mutex>

namespace Rvl::Test {

class LogCapture::Appender : public log4cplus::Appender
{
public:
    ~Appender() override { destructorImpl(); }
    void close() override { closed = true; }

    mutable std::mutex mutex;
    std::vector<Record> records;

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& event) override
    {
        const std::lock_guard<std::mutex> lock(mutex);
        records.push_back({log4cplus::getLogLevelManager().toString(event.getLogLevel()), event.getMessage(),
                           event.getFile(), event.getLine(), event.getFunction()});
    }
};

LogCapture::LogCapture(const std::string& loggerName)
    : logger_(log4cplus::Logger::getInstance(loggerName)), previousLevel_(logger_.getLogLevel()),
      previousAdditivity_(logger_.getAdditivity()), appender_(new Appender)
{
    logger_.setLogLevel(log4cplus::ALL_LOG_LEVEL);
    logger_.setAdditivity(false);
    logger_.addAppender(log4cplus::SharedAppenderPtr(appender_.get()));
}

LogCapture::~LogCapture()
{
    logger_.removeAppender(log4cplus::SharedAppenderPtr(appender_.get()));
    logger_.setAdditivity(previousAdditivity_);
    logger_.setLogLevel(previousLevel_);
}

std::vector<LogCapture::Record> LogCapture::records() const
{
    const std::lock_guard<std::mutex> lock(appender_->mutex);
    return appender_->records;
}

std::vector<std::string> LogCapture::lines() const
{
    std::vector<std::string> result;
    for (const Record& record : records()) {
        result.push_back(record.level + " " + record.message);
    }
    return result;
}

void LogCapture::clear()
{
    const std::lock_guard<std::mutex> lock(appender_->mutex);
    appender_->records.clear();
}

} // namespace Rvl::Test
