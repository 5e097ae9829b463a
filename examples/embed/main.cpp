// A PID controller in a program of one's own: no channels, no configuration, no thread.
#include "driver/local/controller/controlloop/PIDAlgorithm.h"

#include <cstdio>

int main()
{
    Rvl::CPIDParameters parameters("kettle");
    parameters.setK(40.0); // percent per kelvin
    parameters.setTi(20.0);
    parameters.setMaxU(100.0); // MinU is 0
    parameters.setSampleTime(100);
    Rvl::CPIDAlgorithm pid;
    pid.setParameters(parameters);

    double temperature = 20.0; // of a kettle with 2 kW, 4 kJ/K and a loss of 10 W/K
    for (int step = 0; step <= 1200; ++step) {
        const double heating = pid.calculate(temperature, 60.0);
        if (step % 200 == 0) {
            std::printf("%3d s  %5.2f degC  %6.2f %%\n", step / 10, temperature, heating);
        }
        temperature += 0.1 * (20.0 * heating - 10.0 * (temperature - 20.0)) / 4000.0;
    }
}
