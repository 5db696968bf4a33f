// AX.25 packets.
#include "decode/decoder.h"
#include <CLI/CLI.hpp>

namespace client::decode {
namespace {
class Packet : public Decoder {
public:
    Packet(double, Emit emit) : emit_(std::move(emit)) {}
    void push(const int16_t*, size_t) override {}

private:
    Emit emit_;
};
} // namespace

std::vector<DataMode> packet_modes(CLI::App&)
{
    return {{"packet", "AX.25 packets over AFSK",
             [](double rate, Emit emit) { return std::make_unique<Packet>(rate, std::move(emit)); }}};
}
} // namespace client::decode
