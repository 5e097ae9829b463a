#include "host/process/LocaleGuard.h"

#include <clocale>

namespace Rvl {

CLocaleGuard::CLocaleGuard() : c_(std::setlocale(LC_ALL, nullptr)) {}

CLocaleGuard::~CLocaleGuard()
{
    if (std::locale() != cpp_) {
        std::locale::global(cpp_); // which may set that of C, too
    }
    if (c_ != std::setlocale(LC_ALL, nullptr)) {
        std::setlocale(LC_ALL, c_.c_str());
    }
}

} // namespace Rvl
