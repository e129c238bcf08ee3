// Constants, and helpers that check the simulator's results and exceptions.
#pragma once

#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

/// In bytes.
constexpr std::size_t frameSize = 10240;

using Lines = std::vector<std::string>;

template <typename Values, typename Value>
bool isFilledWith(const Values& values, const Value& expected)
{
    return std::all_of(values.begin(), values.end(), [&](const auto& value) { return value == expected; });
}

inline bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

/// Returns the message of the `Exception` that `call` throws. Fails the test if `call` throws nothing.
template <typename Exception = std::runtime_error, typename Call>
std::string thrownMessage(const Call& call)
{
    try {
        call();
    } catch (const Exception& error) {
        return error.what();
    }
    ADD_FAILURE() << "no exception";
    return "";
}
