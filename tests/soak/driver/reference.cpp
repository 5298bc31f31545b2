// SPDX-License-Identifier: LGPL-2.1-or-later
#include "reference.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <unistd.h>

namespace tavo::soak {
namespace {

template <typename Value>
void put(std::ofstream& file, const Value* values, std::size_t count) {
    file.write(reinterpret_cast<const char*>(values),
               static_cast<std::streamsize>(count * sizeof(Value)));
}

template <typename Value>
void take(std::ifstream& file, Value* values, std::size_t count) {
    file.read(reinterpret_cast<char*>(values), static_cast<std::streamsize>(count * sizeof(Value)));
}

} // namespace

// Several programs may do so at once: the file appears whole.
void write(const Reference& reference, const std::string& path) {
    const std::string unfinished = path + "." + std::to_string(getpid());
    std::ofstream file(unfinished, std::ios::binary);
    const std::uint64_t count = reference.pixels.size();
    put(file, &reference.capabilities, 1);
    put(file, &reference.gain, 1);
    put(file, &reference.offset, 1);
    put(file, &count, 1);
    put(file, reference.pixels.data(), reference.pixels.size());
    file.close();
    if (!file)
        throw std::runtime_error("cannot write " + unfinished);
    std::filesystem::rename(unfinished, path);
}

Reference readReference(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    Reference reference;
    std::uint64_t count = 0;
    take(file, &reference.capabilities, 1);
    take(file, &reference.gain, 1);
    take(file, &reference.offset, 1);
    take(file, &count, 1);
    if (file)
        reference.pixels.resize(count);
    take(file, reference.pixels.data(), reference.pixels.size());
    if (!file || reference.pixels.empty())
        throw std::runtime_error("cannot read " + path);
    return reference;
}

} // namespace tavo::soak
