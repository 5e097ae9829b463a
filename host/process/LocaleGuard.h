#pragma once

#include <locale>
#include <string>

namespace Rvl {

/// Puts the locales of C++ and C back at its end, whatever plug-ins have done to them: with a point for
/// thousands "40.250" would be read as 40250.
class CLocaleGuard
{
public:
    CLocaleGuard();
    ~CLocaleGuard();
    CLocaleGuard(const CLocaleGuard&) = delete;
    CLocaleGuard& operator=(const CLocaleGuard&) = delete;

private:
    const std::locale cpp_;
    const std::string c_;
};

} // namespace Rvl
