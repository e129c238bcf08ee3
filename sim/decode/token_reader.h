// Splits a stream of text into tokens, in constant memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

namespace sim {

class TokenReader {
public:
    /// Writes to the start of the buffer and returns the number of bytes; 0 at the end of the stream.
    using Source = std::function<std::size_t(std::span<char> buffer)>;

    static constexpr std::size_t longestToken = std::size_t{1} << 20U;

    explicit TokenReader(Source streamSource);

    /// Returns the next token, which ends at a space or control character. It is valid until the next call. Returns an
    /// empty token at the end of the stream. Throws std::length_error if a token has `longestToken` bytes or more.
    std::string_view next();

    /// The line of the latest token, counted from 1.
    [[nodiscard]] std::uint64_t line() const { return lineNumber; }
    /// Whether the stream ended directly after the latest token, without a trailing newline or space.
    [[nodiscard]] bool endedInToken() const { return isCutOff; }

private:
    bool refill();

    Source source;
    std::vector<char> buffer;
    const char* position;
    const char* end;
    std::uint64_t lineNumber = 1;
    bool isCutOff = false;
};

} // namespace sim
