#pragma once

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <string>

namespace Rvl {

/// Writes the error line that precedes every exception of the project, "Exception CLASS thrown: MESSAGE" on
/// the logger "ExceptionLogger", and throws an `Exception` that carries `message`. `file`, `line` and
/// `function` are those of the log record. Use RVL_THROW, which fills them in.
template <class Exception>
[[noreturn]] void logAndThrow(const char* className, const std::string& message, const char* file, int line,
                              const char* function)
{
    const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("ExceptionLogger"));
    if (logger.isEnabledFor(log4cplus::ERROR_LOG_LEVEL)) {
        logger.forcedLog(log4cplus::ERROR_LOG_LEVEL,
                         std::string("Exception ") + className + " thrown: " + message, file, line, function);
    }
    throw Exception(message);
}

} // namespace Rvl

/// Logs and throws: RVL_THROW(std::runtime_error, "what went wrong"). The log names the class as it is
/// written here.
#define RVL_THROW(ExceptionClass, message)                                                                   \
    ::Rvl::logAndThrow<ExceptionClass>(#ExceptionClass, (message), __FILE__, __LINE__,                       \
                                       LOG4CPLUS_MACRO_FUNCTION())
