// The message of an exception.
#pragma once

#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

/// Returns the message of the exception that `call` throws. Fails the test if it throws none.
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
