#pragma once

#include <log4cplus/logger.h>

#include <string>
#include <vector>

namespace Rvl {

/// The names of the log levels, from the most verbose to "off".
const std::vector<std::string>& logLevels();

/// Sends log records of this level and above to standard error, as "TIME LEVEL [LOGGER] MESSAGE". Must be
/// called before anything is logged. The level is one of logLevels().
void setUpLogging(const std::string& level);

class CBackgroundOutput;

/// Redirects the log records of setUpLogging() to an output in the background during its lifetime, so that a
/// loop that logs is not blocked by a standard error that is not read.
class CBackgroundLog
{
public:
    /// The output must outlive the object.
    explicit CBackgroundLog(CBackgroundOutput& output);
    ~CBackgroundLog();
    CBackgroundLog(const CBackgroundLog&) = delete;
    CBackgroundLog& operator=(const CBackgroundLog&) = delete;
};

/// Switches one logger off during its lifetime, unless the log level is debug or trace.
class CLogSilence
{
public:
    explicit CLogSilence(const std::string& logger);
    ~CLogSilence();
    CLogSilence(const CLogSilence&) = delete;
    CLogSilence& operator=(const CLogSilence&) = delete;

private:
    log4cplus::Logger logger_;
    log4cplus::LogLevel level_;
};

} // namespace Rvl
