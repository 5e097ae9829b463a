#include "host/base/SystemText.h"
#include "host/commands/Application.h"
#include "host/process/DescriptorLimit.h"
#include "host/process/Terminal.h"
#include "host/process/TerminationSignals.h"
#include "host/process/TimerResolution.h"
#include "runtime/AlternateStack.h"

#include <chrono>
#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    const auto programStart = std::chrono::steady_clock::now();
    Rvl::CTerminationSignals::endProcessBeforeFirst();
    const Rvl::CAlternateStack alternateStack; // for crashes
    Rvl::suppressErrorDialogs();
    const Rvl::CConsole console;
    const Rvl::CTimerResolution timerResolution;
    Rvl::raiseDescriptorLimit();
    const std::vector<std::string> arguments = Rvl::programArguments(argc, argv);
    std::vector<const char*> pointers;
    for (const std::string& argument : arguments) {
        pointers.push_back(argument.c_str());
    }
    return Rvl::runApplication(static_cast<int>(pointers.size()), pointers.data(), programStart, std::cout,
                               std::cerr);
}
