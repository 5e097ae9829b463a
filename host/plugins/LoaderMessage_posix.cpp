#include "host/plugins/LoaderMessage.h"

namespace Rvl {

std::string loaderMessage(const std::exception& exception, const std::string& library)
{
    const std::string wrapped = exception.what();
    const std::string mark = "system message: ";
    if (const auto begin = wrapped.find(mark); begin != std::string::npos) {
        const std::string text = wrapped.substr(begin + mark.size());
        return text.substr(0, text.rfind(')'));
    }
    return library + ": " + wrapped;
}

} // namespace Rvl
