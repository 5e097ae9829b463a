#pragma once

#include <log4cplus/logger.h>

#include <string>
#include <vector>

namespace Rvl {

/// The names of the log levels, from the most talkative to "off".
const std::vector<std::string>& logLevels();

/// Sends log records of this level and above to standard error, as "TIME LEVEL [LOGGER] MESSAGE". To be
/// called before anything is logged.
void setUpLogging(const std::string& level);

class CBackgroundOutput;

/// Has the log records of setUpLogging() go to this output for as long as it lives: standard error may be
/// something that nobody reads, and a loop that logs would wait for it.
class CBackgroundLog
{
public:
    /// The output must outlive the object.
    explicit CBackgroundLog(CBackgroundOutput& output);
    ~CBackgroundLog();
    CBackgroundLog(const CBackgroundLog&) = delete;
    CBackgroundLog& operator=(const CBackgroundLog&) = delete;
};

/// Keeps one logger quiet for as long as it lives, unless somebody asked for debug or trace records.
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
