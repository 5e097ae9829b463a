#pragma once

#include <log4cplus/logger.h>

#include <memory>
#include <string>
#include <vector>

namespace Rvl::Test {

/// Records everything that one named logger writes, from construction to destruction, and lets every level
/// through meanwhile.
class LogCapture
{
public:
    /// One log record: level name ("TRACE", "ERROR", ...), message, source file, line and function.
    struct Record
    {
        std::string level;
        std::string message;
        std::string file;
        int line;
        std::string function;
    };

    explicit LogCapture(const std::string& loggerName);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<Record> records() const;
    /// "LEVEL message" of each record, in order.
    std::vector<std::string> lines() const;
    void clear();

private:
    class Appender;
    log4cplus::Logger logger_;
    log4cplus::LogLevel previousLevel_;
    bool previousAdditivity_;
    log4cplus::helpers::SharedObjectPtr<Appender> appender_;
};

} // namespace Rvl::Test
