#include "host/Application.h"
#include "host/DescriptorLimit.h"
#include "host/TimerResolution.h"

#include <chrono>
#include <iostream>

int main(int argc, char** argv)
{
    const auto programStart = std::chrono::steady_clock::now();
    const Rvl::CTimerResolution timerResolution;
    Rvl::raiseDescriptorLimit();
    return Rvl::runApplication(argc, argv, programStart, std::cout, std::cerr);
}
