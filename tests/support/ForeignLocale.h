#pragma once

#include <locale>
#include <string>

namespace Rvl::Test {

/// With a point for thousands and a comma for decimals: "40.250" is 40250.
inline std::locale foreignLocale()
{
    class CPointForThousands : public std::numpunct<char>
    {
    protected:
        char do_thousands_sep() const override { return '.'; }
        char do_decimal_point() const override { return ','; }
        std::string do_grouping() const override { return "\3"; }
        std::string do_truename() const override { return "ja"; }
        std::string do_falsename() const override { return "nein"; }
    };
    return std::locale(std::locale::classic(), new CPointForThousands);
}

/// Makes it the global one for as long as it lives.
class CForeignLocale
{
public:
    CForeignLocale() : before_(std::locale::global(foreignLocale())) {}
    ~CForeignLocale() { std::locale::global(before_); }
    CForeignLocale(const CForeignLocale&) = delete;
    CForeignLocale& operator=(const CForeignLocale&) = delete;

private:
    const std::locale before_;
};

} // namespace Rvl::Test
