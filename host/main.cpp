#include "host/Application.h"

#include <chrono>
#include <iostream>

int main(int argc, char** argv)
{
    const auto programStart = std::chrono::steady_clock::now();
    return Rvl::runApplication(argc, argv, programStart, std::cout, std::cerr);
}
