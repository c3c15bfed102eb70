#include "compare/ItemPairs.h"

#include "base/Unicode.h"
#include "compare/Candidates.h"
#include "compare/IdentifierKeys.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace vantorel {

namespace {

constexpr std::int64_t microseconds = 1'000'000;
/// 1970-01-01 and 2001-01-01, in seconds since the latter: the zeros of the two ways to count time that a
/// photo's date may come from. A date that is one of them to the second says that none was known.
constexpr std::int64_t zeroOf1970 = -978'307'200;
constexpr std::int64_t zeroOf2001 = 0;

/// Whole seconds since 2001-01-01, the fraction cut toward zero.
std::int64_t wholeSeconds(Date date)
{
    return (date.time_since_epoch().count() + zeroOf1970 * microseconds) / microseconds;
}

bool hasOriginalName(const Asset& asset)
{
    return asset.originalFileName && !asset.originalFileName->empty();
}

bool hasUsableDate(const Asset& asset)
{
    if (!asset.dateCreated) {
        return false;
    }
    const std::int64_t seconds = wholeSeconds(*asset.dateCreated);
    return seconds != zeroOf1970 && seconds != zeroOf2001;
}

/// Most names are ASCII, where there is nothing to compose.
void appendComposedLowerCase(std::string& key, std::string_view name)
{
    if (std::ranges::any_of(name, [](char c) { return static_cast<signed char>(c) < 0; })) {
        key += lowerCase(composed(name));
        return;
    }
    for (const char c : name) {
        key += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
}

void appendNumber(std::string& key, std::optional<std::int64_t> number)
{
    if (!number) {
        key += '-';
        return;
    }
    std::array<char, 24> digits{};
    key.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), *number).ptr);
}

/// Name, date and size; "-" for what is not known of the last two.
std::string matchKey(const Asset& asset)
{
    constexpr std::size_t numbers = 48; // two of at most 20 digits, and what stands between
    const std::string& name = hasOriginalName(asset) ? *asset.originalFileName : asset.fileName;
    std::string key;
    key.reserve(name.size() + numbers);
    appendComposedLowerCase(key, name);
    appendNumber(
        key += '|', asset.dateCreated ? std::optional(wholeSeconds(*asset.dateCreated)) : std::nullopt);
    appendNumber(key += '|', asset.originalFileSize);
    return key;
}

class ItemPairing {
public:
    ItemPairing(const std::vector<Asset>& here, const std::vector<Asset>& there)
        : here_(here)
        , there_(there)
    {
        pairs_.there.assign(here.size(), ItemPairs::none);
        pairs_.here.assign(there.size(), ItemPairs::none);
    }

    ItemPairs paired()
    {
        byIdentifier();
        if (unpaired_ > 0) {
            byFingerprint();
        }
        if (unpaired_ > 0) {
            byNameDateAndSize();
        }
        return std::move(pairs_);
    }

private:
    void pair(std::size_t here, std::size_t there)
    {
        pairs_.there[here] = there;
        pairs_.here[there] = here;
        --unpaired_;
    }

    std::size_t unpairedThere() const { return there_.size() - (here_.size() - unpaired_); }

    template <typename Visit>
    void forEachUnpaired(const std::vector<Asset>& items, const std::vector<std::size_t>& pairs, Visit visit)
    {
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (pairs[i] == ItemPairs::none) {
                visit(items[i], i);
            }
        }
    }

    void byIdentifier()
    {
        unpaired_ = here_.size();
        IdentifierKeys keys;
        std::unordered_map<std::string_view, std::size_t> index;
        index.reserve(there_.size());
        for (std::size_t i = 0; i < there_.size(); ++i) {
            index.insert_or_assign(keys.of(there_[i]), i);
        }
        index.erase(std::string_view{});
        for (std::size_t i = 0; i < here_.size(); ++i) {
            const auto found = index.find(keys.of(here_[i]));
            if (found != index.end() && pairs_.here[found->second] == ItemPairs::none) {
                pair(i, found->second);
            }
        }
    }

    void byFingerprint()
    {
        Candidates<std::string_view> candidates(unpairedThere());
        forEachUnpaired(there_, pairs_.here, [&](const Asset& asset, std::size_t i) {
            if (asset.fingerprint && !asset.fingerprint->empty()) {
                candidates.add(*asset.fingerprint, i);
            }
        });
        forEachUnpaired(here_, pairs_.there, [&](const Asset& asset, std::size_t i) {
            const auto found = asset.fingerprint ? candidates.take(*asset.fingerprint) : std::nullopt;
            if (found) {
                pair(i, *found);
            }
        });
    }

    void byNameDateAndSize()
    {
        Candidates<std::string> candidates(unpairedThere());
        forEachUnpaired(there_, pairs_.here,
            [&](const Asset& asset, std::size_t i) { candidates.add(matchKey(asset), i); });
        forEachUnpaired(here_, pairs_.there, [&](const Asset& asset, std::size_t i) {
            if (!hasOriginalName(asset) || !hasUsableDate(asset)) {
                return;
            }
            if (const auto found = candidates.take(matchKey(asset))) {
                pair(i, *found);
                ++pairs_.byNameAndDate;
            }
        });
    }

    const std::vector<Asset>& here_;
    const std::vector<Asset>& there_;
    ItemPairs pairs_;
    std::size_t unpaired_ = 0; ///< Of the items here.
};

} // namespace

ItemPairs pairItems(const std::vector<Asset>& here, const std::vector<Asset>& there)
{
    return ItemPairing(here, there).paired();
}

} // namespace vantorel
