// What the processor at hand can do beyond what every one of its kind can.
#ifndef VOR_PLATFORM_CPU_H
#define VOR_PLATFORM_CPU_H

namespace vor::os {

// Whether AVX2, FMA, BMI, BMI2 and POPCNT are there, for the processor and for the system.
bool cpu_has_avx2();

} // namespace vor::os

#endif
