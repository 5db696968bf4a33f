// Characters as they stand between start and stop bit, and the text that they mean.
#pragma once
#include "decoders/keyed/start_stop.h"
#include <optional>

namespace decoders::keyed {
class Alphabet {
public:
    virtual ~Alphabet() = default;
    virtual Frame frame() const = 0;
    // The byte of text that a character means; nothing for what only steers the printer.
    virtual std::optional<char> read(int character) = 0;
    virtual void restart() {} // the line was lost
};

// International telegraph alphabet 2, five bits (CCITT S.1), or with the figures of the United States.
class Ita2 : public Alphabet {
public:
    struct Options {
        double stop = 1.5;   // bits
        bool unshift = true; // a blank brings letters back
        bool us = false;
    };
    explicit Ita2(const Options& options) : options_(options) {}
    Frame frame() const override;
    std::optional<char> read(int character) override;
    void restart() override { shifted_ = false; }

private:
    const Options options_;
    bool shifted_ = false; // to figures
};

// ASCII or what else has seven or eight bits; a parity bit behind them helps to find the likeliest character.
class Ascii : public Alphabet {
public:
    enum class Parity { none, even, odd };
    struct Options {
        int bits = 8;
        Parity parity = Parity::none;
        double stop = 1; // bits
    };
    explicit Ascii(const Options& options) : options_(options) {}
    Frame frame() const override;
    std::optional<char> read(int character) override;

private:
    const Options options_;
};
} // namespace decoders::keyed
