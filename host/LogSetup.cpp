#include "host/LogSetup.h"

#include <log4cplus/configurator.h>
#include <log4cplus/consoleappender.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>

#include <algorithm>
#include <cctype>
#include <memory>

namespace Rvl {

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
    log4cplus::SharedAppenderPtr appender(new log4cplus::ConsoleAppender(true, true));
    appender->setLayout(std::make_unique<log4cplus::PatternLayout>("%D{%H:%M:%S.%q} %-5p [%c] %m%n"));
    root.addAppender(appender);
    root.setLogLevel(log4cplus::getLogLevelManager().fromString(name));
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
