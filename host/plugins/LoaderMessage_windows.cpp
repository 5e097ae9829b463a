#include "host/plugins/LoaderMessage.h"

#include "host/base/SystemText.h"

#include <boost/system/system_error.hpp>

namespace Rvl {

std::string loaderMessage(const std::exception& exception, const std::string& library)
{
    // the text in Boost's exception is in the user's code page
    const auto* const error = dynamic_cast<const boost::system::system_error*>(&exception);
    std::string text =
        error ? systemMessage(static_cast<unsigned long>(error->code().value())) : exception.what();
    // the system's text has a placeholder for the library's name
    if (const auto placeholder = text.find("%1"); placeholder != std::string::npos) {
        return text.replace(placeholder, 2, library);
    }
    return library + ": " + text;
}

} // namespace Rvl
