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
    /// Fills a part of the buffer and returns its size; 0 at the end of the stream.
    using Source = std::function<std::size_t(std::span<char> buffer)>;

    static constexpr std::size_t longestToken = std::size_t{1} << 20U;

    explicit TokenReader(Source streamSource);

    /// Returns the next token: a sequence of characters above the space. It is valid until the next call. Returns an
    /// empty token at the end of the stream. Throws std::length_error if a token is longer than `longestToken`.
    std::string_view next();

    /// The line of the latest token, counted from 1.
    [[nodiscard]] std::uint64_t line() const { return lineNumber; }
    /// Whether the stream ended directly after the latest token, without a line end.
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
