#pragma once

#include "support/TemporaryFolder.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace vantorel {

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool isSanitized = true;
#elif defined(__has_feature)
inline constexpr bool isSanitized = __has_feature(address_sanitizer);
#else
inline constexpr bool isSanitized = false;
#endif

/// A library of six photos in one album, beside a folder that nothing may come from or go to. Someone made
/// the library to harm; the program must end with a result or a sentence all the same.
class HostilePlace {
public:
    HostilePlace();

    TemporaryFolder folder{};
    const std::filesystem::path library = folder / "Trip.photoslibrary";
    const std::filesystem::path outside = folder / "outside";

    /// The n-th photo's stored file, relative to the library.
    static std::filesystem::path original(int n);
    /// Bytes that no file of an export may hold.
    static std::string secret(std::size_t size = 3'000);

    void run(const std::string& sql) const;
    void remove(const std::filesystem::path& relative) const;
    /// Takes something of the library outside and leaves a link to it. Pictures and albums' titles there
    /// become the secret.
    void moveOut(const std::filesystem::path& relative) const;
    void makePipe(const std::filesystem::path& relative) const;
    void makeSocket(const std::filesystem::path& relative) const;
    /// Character device 1:5, without an end (/dev/zero). False where devices cannot be made.
    bool makeDevice(const std::filesystem::path& relative) const;

    static constexpr int photos = 6;

private:
    static void runOn(const std::filesystem::path& database, const std::string& sql);
};

struct HostileCase {
    const char* name;
    std::function<bool(const HostilePlace&)> harm; ///< False: cannot be made here.
    int saved = HostilePlace::photos;              ///< Photos that can be saved all the same, at least.
    std::int64_t moreBytes = 0; ///< Memory that it may take more than other libraries, being large itself.
    enum class Course { saved, planned } course = Course::saved; ///< Planned: saving it would take too long.
    const char* stallLimit = "60";
};

/// Scans and exports the library after harm was done to it.
class HostileLibraries : public testing::TestWithParam<HostileCase> {
protected:
    void expectToEndWell(const HostilePlace& place) const;
};

} // namespace vantorel
