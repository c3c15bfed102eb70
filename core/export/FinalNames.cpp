#include "export/FinalNames.h"

#include "base/Text.h"

#include <algorithm>

namespace vantorel {

namespace {

struct Split {
    std::string stem;
    std::string extension; ///< Without the dot.
};

Split split(const std::string& name)
{
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0) {
        return {.stem = name, .extension = {}};
    }
    return {.stem = name.substr(0, dot), .extension = name.substr(dot + 1)};
}

/// The extension of one of an item's files; it may have two parts ("xyz.dat").
std::string extensionOf(const std::string& name, const std::string& stem)
{
    return name.starts_with(stem + ".") ? name.substr(stem.size() + 1) : split(name).extension;
}

/// The extension where every disk takes it.
std::string plainExtension(const std::string& extension)
{
    constexpr std::size_t mostPlain = 8;
    const bool isPlain =
        !extension.empty() && extension.size() <= mostPlain && std::ranges::all_of(extension, [](char c) {
            return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        });
    return isPlain ? extension : "dat";
}

std::string plainStem(const PlannedItem& item) { return isUuid(item.assetUUID) ? item.assetUUID : "Photo"; }

} // namespace

std::string folderOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

std::string nameOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string pathIn(const std::string& folder, const std::string& name)
{
    return folder.empty() ? name : folder + "/" + name;
}

std::string withMark(const std::string& path, const std::string& mark)
{
    const Split name = split(nameOf(path));
    const std::string extension = name.extension.empty() ? std::string() : "." + name.extension;
    return pathIn(folderOf(path), name.stem + mark + extension);
}

FinalNames::FinalNames(std::shared_ptr<const ExportPlan> plan, PlacedFolders folders)
    : plan_(std::move(plan))
    , folders_(std::move(folders))
{
}

ItemNames FinalNames::planned(std::size_t item) const
{
    const PlannedItem& planned = plan_->items[item];
    ItemNames names{.sidecar = folders_.placed(planned.sidecarRelativePath)};
    for (const PlannedFile& file : planned.files) {
        names.files.push_back(folders_.placed(file.relativePath));
    }
    return names;
}

void FinalNames::give(const std::string& path)
{
    const std::lock_guard hold(lock_);
    if (given_.insert(path).second && isKeyed_) {
        ++keys_[SafeNames::comparisonKey(path)];
    }
}

void FinalNames::takeBack(const std::string& path)
{
    const std::lock_guard hold(lock_);
    if (given_.erase(path) > 0 && isKeyed_) {
        --keys_[SafeNames::comparisonKey(path)];
    }
}

bool FinalNames::isGiven(const std::string& path)
{
    const std::lock_guard hold(lock_);
    if (!isKeyed_) {
        for (const std::string& given : given_) {
            ++keys_[SafeNames::comparisonKey(given)];
        }
        isKeyed_ = true;
    }
    const auto found = keys_.find(SafeNames::comparisonKey(path));
    return found != keys_.end() && found->second > 0;
}

NameAllocator& FinalNames::allocatorOf(const std::string& folder, const std::vector<std::string>& standing)
{
    if (itemsOf_.empty()) {
        for (std::size_t item = 0; item < plan_->items.size(); ++item) {
            itemsOf_[folderOf(planned(item).sidecar)].push_back(item);
        }
    }
    const auto [place, isNew] = allocators_.try_emplace(folder);
    NameAllocator& allocator = place->second;
    if (isNew) {
        for (const std::size_t item : itemsOf_[folder]) {
            const ItemNames names = planned(item);
            allocator.reserve(nameOf(names.sidecar));
            for (const std::string& file : names.files) {
                allocator.reserve(nameOf(file));
            }
        }
        for (const std::string& path : given_) {
            if (folderOf(path) == folder) {
                allocator.reserve(nameOf(path));
            }
        }
    }
    for (const std::string& name : standing) {
        allocator.reserve(name);
    }
    return allocator;
}

ItemNames FinalNames::another(std::size_t item, Stem stem, const std::vector<std::string>& standing)
{
    const std::lock_guard hold(lock_);
    const ItemNames names = planned(item);
    const std::string folder = folderOf(names.files.front());
    const std::string plannedStem = split(nameOf(names.sidecar)).stem;
    const bool isPlain = stem == Stem::plain;
    std::vector<std::string> extensions;
    for (const std::string& file : names.files) {
        const std::string extension = extensionOf(nameOf(file), plannedStem);
        extensions.push_back(isPlain || extension.empty() ? plainExtension(extension) : extension);
    }
    const std::string wanted = isPlain ? plainStem(plan_->items[item]) : plannedStem;
    const NameAllocator::Names allocated =
        allocatorOf(folder, standing)
            .allocate(wanted, extensions.front(), {extensions.begin() + 1, extensions.end()});
    ItemNames others{.files = {pathIn(folder, allocated.main)}, .sidecar = pathIn(folder, allocated.sidecar)};
    for (const std::string& companion : allocated.companions) {
        others.files.push_back(pathIn(folder, companion));
    }
    return others;
}

} // namespace vantorel
