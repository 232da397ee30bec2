#pragma once

#include <dlfcn.h>

#include <stdexcept>
#include <string>

#include "asic/SoftwareAsic.h"

namespace LagAgent::Crash {

/// A function of the software ASIC's controls, of the same library that the agent loads.
template <class Function>
Function* asicFunction(const char* name) {
    static void* const library = ::dlopen(PD_VELMOR_SWITCH_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    void* const function = library ? ::dlsym(library, name) : nullptr;
    if (!function) {
        throw std::runtime_error(std::string("the software ASIC lacks ") + name);
    }
    return reinterpret_cast<Function*>(function);
}

/// `callAsic<decltype(::velmor_asic_forward)>("velmor_asic_forward", ...)`; throws what is refused.
template <class Function, class... Arguments>
void callAsic(const char* name, Arguments... arguments) {
    if (const auto status = asicFunction<Function>(name)(arguments...); status != 0) {
        throw std::runtime_error(std::string(name) + " returns " + std::to_string(status));
    }
}

} // namespace LagAgent::Crash
