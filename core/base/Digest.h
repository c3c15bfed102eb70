#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace vantorel {

/// SHA-256 of bytes that pass by. One thread at a time.
class Sha256 {
public:
    Sha256();
    Sha256(Sha256&&) noexcept;
    Sha256& operator=(Sha256&&) noexcept;
    ~Sha256();

    void add(std::span<const std::byte> bytes);
    void add(std::string_view bytes);
    /// Lower-case hexadecimal digest of all that was added. Only once.
    std::string finish();

private:
    struct State;
    std::unique_ptr<State> state_;
};

std::string sha256(std::string_view bytes);

/// The IEEE polynomial in reflected form, start value all ones, result inverted (0 for no bytes).
std::uint32_t crc32(std::string_view bytes);
/// Polynomial 0x8005 reflected (0xA001), start 0, no final inversion: the checksum of a journal record's
/// header.
std::uint16_t crc16Arc(std::string_view bytes);

} // namespace vantorel
