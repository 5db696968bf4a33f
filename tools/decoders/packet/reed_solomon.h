// Reed-Solomon codes over bytes: GF(2^8) by x^8 + x^4 + x^3 + x^2 + 1, first root alpha^1, as FX.25 has them.
#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

namespace decoders::packet {
class ReedSolomon {
public:
    static constexpr size_t length = 255; // bytes of a codeword

    // check bytes stand at the end of a codeword: half as many wrong bytes can be mended.
    explicit ReedSolomon(size_t check) : check_(check) {}

    // Mends a codeword in place: 2 errors + erasures <= check. Erased are places whose bytes aren't trusted.
    // The number of bytes that were changed; -1 if no codeword is near enough, and then it stays as it was.
    int mend(std::vector<uint8_t>& word, const std::vector<size_t>& erased = {}) const;

private:
    size_t check_;
};
} // namespace decoders::packet
