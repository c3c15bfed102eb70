#include "base/Digest.h"

#include "base/Text.h"

#include <openssl/evp.h>
#include <zlib.h>

#include <algorithm>
#include <limits>
#include <new>

namespace vantorel {

namespace {

void check(int result)
{
    if (result != 1) {
        throw std::bad_alloc(); // the digest is built in: only memory can lack
    }
}

constexpr std::array<std::uint16_t, 256> makeArcTable()
{
    std::array<std::uint16_t, 256> table{};
    for (unsigned i = 0; i < 256; ++i) {
        unsigned value = i;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 1U) != 0 ? value >> 1U ^ 0xA001U : value >> 1U;
        }
        table[i] = static_cast<std::uint16_t>(value);
    }
    return table;
}

constexpr auto arcTable = makeArcTable();

} // namespace

struct Sha256::State {
    struct Free {
        void operator()(EVP_MD_CTX* freed) const { EVP_MD_CTX_free(freed); }
    };
    std::unique_ptr<EVP_MD_CTX, Free> context{EVP_MD_CTX_new()};
};

Sha256::Sha256()
    : state_(std::make_unique<State>())
{
    check(state_->context ? EVP_DigestInit_ex(state_->context.get(), EVP_sha256(), nullptr) : 0);
}

Sha256::Sha256(Sha256&&) noexcept = default;
Sha256& Sha256::operator=(Sha256&&) noexcept = default;
Sha256::~Sha256() = default;

void Sha256::add(std::span<const std::byte> bytes)
{
    check(EVP_DigestUpdate(state_->context.get(), bytes.data(), bytes.size()));
}

void Sha256::add(std::string_view bytes) { add(std::as_bytes(std::span(bytes))); }

std::string Sha256::finish()
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned length = 0;
    check(EVP_DigestFinal_ex(state_->context.get(), digest.data(), &length));
    std::string bytes;
    std::transform(digest.begin(), digest.begin() + length, std::back_inserter(bytes),
        [](unsigned char byte) { return static_cast<char>(byte); });
    return hex(bytes);
}

std::string sha256(std::string_view bytes)
{
    Sha256 digest;
    digest.add(bytes);
    return digest.finish();
}

std::uint32_t crc32(std::string_view bytes)
{
    uLong value = ::crc32(0, nullptr, 0);
    while (!bytes.empty()) {
        const auto length = std::min<std::size_t>(bytes.size(), std::numeric_limits<int>::max());
        value = ::crc32(value, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(length));
        bytes.remove_prefix(length);
    }
    return static_cast<std::uint32_t>(value);
}

std::uint16_t crc16Arc(std::string_view bytes)
{
    unsigned value = 0;
    for (const char byte : bytes) {
        value = value >> 8U ^ arcTable[(value ^ static_cast<unsigned char>(byte)) & 255U];
    }
    return static_cast<std::uint16_t>(value);
}

} // namespace vantorel
