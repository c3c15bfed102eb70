#include "support/FaultScript.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>

namespace vantorel {

namespace {

/// Each call with its group.
constexpr std::array<std::pair<std::string_view, std::string_view>, 31> callGroups{{
    {"open", "open"},
    {"openAt", "open"},
    {"openBeneath", "open"},
    {"close", ""},
    {"read", "read"},
    {"readAt", "read"},
    {"write", ""},
    {"sync", "sync"},
    {"fullSync", "sync"},
    {"setUncached", ""},
    {"dropCached", ""},
    {"status", "status"},
    {"statusOf", "status"},
    {"statusAt", "status"},
    {"entryStatus", "status"},
    {"makeFolderAt", ""},
    {"renameAt", "rename"},
    {"renameExclusiveAt", "rename"},
    {"unlinkAt", ""},
    {"removeFolderAt", ""},
    {"setModified", ""},
    {"openFolder", "list"},
    {"openFolderOf", "list"},
    {"nextEntry", "list"},
    {"fileSystemOf", "fileSystem"},
    {"fileSystemIdentifier", "fileSystem"},
    {"realPath", ""},
    {"extendedAttribute", ""},
    {"mayWrite", ""},
    {"tryLock", ""},
    {"systemText", ""},
}};

bool callFits(std::string_view wanted, std::string_view call)
{
    return std::ranges::any_of(callGroups, [&](const auto& row) {
        return row.first == call && (wanted == "*" || wanted == row.first || wanted == row.second);
    });
}

void requireKnown(std::string_view wanted)
{
    if (wanted.empty()
        || std::ranges::none_of(callGroups, [&](const auto& row) { return callFits(wanted, row.first); })) {
        throw std::invalid_argument("there is no call named \"" + std::string(wanted) + "\"");
    }
}

/// "*" stands for any bytes, "/" and none at all included.
bool pathFits(std::string_view pattern, std::string_view path)
{
    const auto star = pattern.find('*');
    if (star == std::string_view::npos) {
        return pattern == path;
    }
    if (!path.starts_with(pattern.substr(0, star))) {
        return false;
    }
    const auto rest = pattern.substr(star + 1);
    for (auto from = star; from <= path.size(); ++from) {
        if (pathFits(rest, path.substr(from))) {
            return true;
        }
    }
    return false;
}

} // namespace

bool FaultScript::Range::touches(const Range& other) const
{
    return offset < other.offset + static_cast<std::int64_t>(other.length)
        && other.offset < offset + static_cast<std::int64_t>(length);
}

std::size_t FaultScript::Rule::hits() const
{
    const std::scoped_lock held(*entry_->lock);
    return entry_->hits;
}

FaultScript::Rule FaultScript::on(std::string_view call, std::string path)
{
    requireKnown(call);
    auto entry = std::make_shared<Entry>();
    entry->lock = lock_;
    entry->call = call;
    entry->path = std::move(path);
    const std::scoped_lock held(*lock_);
    entries_.push_back(entry);
    return Rule(std::move(entry));
}

void FaultScript::removeRules()
{
    const std::scoped_lock held(*lock_);
    entries_.clear();
}

std::vector<FaultScript::Trouble> FaultScript::meet(
    Call call, const Range& range, const std::optional<DiskPath>& otherPath)
{
    std::vector<Trouble> troubles;
    const std::scoped_lock held(*lock_);
    for (const auto& entry : entries_) {
        const bool fits = callFits(entry->call, call.name)
            && (pathFits(entry->path, call.path.native())
                || (otherPath && pathFits(entry->path, otherPath->native())))
            && (!entry->range || entry->range->touches(range));
        if (!fits || ++entry->met < entry->first || entry->met > entry->last) {
            continue;
        }
        auto& trouble = troubles.emplace_back(entry->trouble);
        if (entry->room && call.name == "write") {
            trouble.mostBytes = std::min(*entry->room, range.length);
            *entry->room -= trouble.mostBytes;
            if (trouble.mostBytes == 0 && range.length > 0) {
                trouble.error = ENOSPC;
            }
        }
        entry->hits += !entry->room || trouble.error ? 1 : 0;
    }
    log_.push_back(std::move(call));
    return troubles;
}

std::vector<FaultScript::Call> FaultScript::log() const
{
    const std::scoped_lock held(*lock_);
    return log_;
}

std::size_t FaultScript::count(std::string_view call, std::string_view path) const
{
    requireKnown(call);
    const std::scoped_lock held(*lock_);
    return static_cast<std::size_t>(std::ranges::count_if(log_,
        [&](const Call& each) { return callFits(call, each.name) && pathFits(path, each.path.native()); }));
}

} // namespace vantorel
