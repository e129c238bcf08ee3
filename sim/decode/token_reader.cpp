// Searches for tokens in a buffer, which it refills from the stream.
#include "sim/decode/token_reader.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace sim {

namespace {

bool isBlank(char character)
{
    return static_cast<unsigned char>(character) <= ' ';
}

} // namespace

TokenReader::TokenReader(Source streamSource)
    : source(std::move(streamSource)), buffer(longestToken), position(buffer.data()), end(buffer.data())
{}

std::string_view TokenReader::next()
{
    while (position != end || refill()) {
        if (!isBlank(*position)) {
            break;
        }
        lineNumber += *position == '\n' ? 1 : 0;
        ++position;
    }
    const char* token = position;
    const char* last = position;
    for (;;) {
        while (last != end && !isBlank(*last)) {
            ++last;
        }
        if (last != end) {
            break;
        }
        const auto length = last - token;
        position = token;
        if (!refill()) {
            isCutOff = length > 0;
            token = position;
            last = end;
            break;
        }
        token = position;
        last = position + length;
    }
    position = last;
    return {token, last};
}

/// Moves the unread part to the front of the buffer and reads more. Returns false at the end of the stream.
bool TokenReader::refill()
{
    const auto unread = static_cast<std::size_t>(end - position);
    if (unread == buffer.size()) {
        throw std::length_error("a token of 1 MiB or more");
    }
    std::copy(position, end, buffer.data());
    const std::size_t count = source(std::span(buffer).subspan(unread));
    position = buffer.data();
    end = position + unread + count;
    return count > 0;
}

} // namespace sim
