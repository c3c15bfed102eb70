#include "support/ScriptedDisk.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <vector>

#include <fcntl.h>

namespace vantorel {

namespace {

using Node = std::size_t; ///< A file or folder, whatever its name.

constexpr Node top = 0;

struct Content {
    std::string live{};
    std::string synced{};
};

/// One change of names: the node loses the old name, where there is one, and gets the new one, likewise.
struct Change {
    Node node = top;
    std::optional<std::pair<Node, std::string>> from{};
    std::optional<std::pair<Node, std::string>> to{};
    bool isSure = false;
};

using Names = std::map<Node, std::map<std::string, Node>>; ///< Of each folder.

void carryOut(Names& names, const Change& change)
{
    if (change.from) {
        auto& folder = names[change.from->first];
        const auto found = folder.find(change.from->second);
        if (found != folder.end() && found->second == change.node) {
            folder.erase(found);
        }
    }
    if (change.to) {
        names[change.to->first][change.to->second] = change.node;
    }
}

std::string bytesLeft(const Content& content, ScriptedDisk::Unsynced unsynced)
{
    const bool isAppended = content.live.starts_with(content.synced);
    const std::size_t added = isAppended ? content.live.size() - content.synced.size() : 0;
    switch (unsynced) {
    case ScriptedDisk::Unsynced::lost:
    case ScriptedDisk::Unsynced::namesKept:
        return content.synced;
    case ScriptedDisk::Unsynced::namesZeroed:
        return content.synced + std::string(added, '\0');
    case ScriptedDisk::Unsynced::namesTorn:
        return isAppended ? content.live.substr(0, content.synced.size() + added / 2) : content.synced;
    case ScriptedDisk::Unsynced::shuffled:
        break;
    }
    return content.live;
}

} // namespace

struct ScriptedDisk::Record {
    struct Opened {
        Node node = top;
        std::size_t offset = 0;
        bool appends = false;
    };

    DiskPath place; ///< Where the power is lost.
    mutable std::mutex lock;
    Names before{{top, {}}}; ///< When the power was last restored: all of it sure.
    Names live = before;
    std::vector<Change> changes;
    std::map<Node, Content> contents; ///< Of files.
    std::map<int, Opened> opened;
    Node next = 1;
    std::size_t left = static_cast<std::size_t>(-1); ///< Changes that still come through.
    bool hasPower = true;
    std::optional<Rule> everyCall; ///< Fails from the moment at which the power is lost.

    std::optional<Node> find(Node from, const DiskPath& relative) const
    {
        for (const DiskPath& component : relative) {
            if (component.empty() || component == ".") {
                continue;
            }
            const auto names = live.find(from);
            if (names == live.end() || !names->second.contains(component.native())) {
                return std::nullopt;
            }
            from = names->second.at(component.native());
        }
        return from;
    }

    std::optional<Node> nodeOf(int fd) const
    {
        const auto found = opened.find(fd);
        return found == opened.end() ? std::nullopt : std::optional(found->second.node);
    }

    void add(Change change)
    {
        carryOut(live, change);
        changes.push_back(std::move(change));
    }

    /// Notes what was opened just now; whether that made it.
    bool open(int fd, Node from, const DiskPath& relative, int flags)
    {
        auto node = find(from, relative);
        const bool isNew = !node;
        if (isNew) {
            const auto parent = find(from, relative.parent_path());
            node = next++;
            contents[*node];
            add({.node = *node, .to = std::pair(parent.value(), relative.filename().native())});
        }
        opened[fd] = {.node = *node, .appends = (flags & O_APPEND) != 0};
        return isNew;
    }

    /// To another name, or to none.
    bool move(int folder, const std::string& name, const std::optional<std::pair<int, std::string>>& to)
    {
        const auto from = nodeOf(folder);
        if (!from) {
            return false;
        }
        Change change{.node = live.at(*from).at(name), .from = std::pair(*from, name)};
        if (to) {
            change.to = std::pair(nodeOf(to->first).value(), to->second);
        }
        add(std::move(change));
        return true;
    }

    void writeFolder(const Names& names, Node folder, const DiskPath& path) const
    {
        const auto inIt = names.find(folder);
        if (inIt == names.end()) {
            return;
        }
        for (const auto& [name, node] : inIt->second) {
            if (const auto file = contents.find(node); file != contents.end()) {
                std::ofstream(path / name, std::ios::binary) << file->second.live;
            } else {
                std::filesystem::create_directory(path / name);
                writeFolder(names, node, path / name);
            }
        }
    }

    void madeSure(Node node)
    {
        if (const auto file = contents.find(node); file != contents.end()) {
            file->second.synced = file->second.live;
        }
        for (Change& change : changes) {
            const auto& where = change.to ? change.to : change.from;
            change.isSure |= where->first == node;
        }
    }
};

ScriptedDisk::ScriptedDisk(DiskPath folder)
    : record_(std::make_unique<Record>())
{
    record_->place = std::move(folder);
    record_->everyCall = on("*");
}

ScriptedDisk::~ScriptedDisk() = default;

void ScriptedDisk::losePowerAfterChange(std::size_t number)
{
    const std::scoped_lock held(record_->lock);
    record_->left = number;
}

bool ScriptedDisk::hasPower() const
{
    const std::scoped_lock held(record_->lock);
    return record_->hasPower;
}

/// Makes a call that changes something, and notes what it changed.
template <typename Make, typename Note>
auto ScriptedDisk::changing(Make make, Note note) const -> decltype(make())
{
    if (!hasPower()) {
        return std::unexpected(EIO);
    }
    auto result = make();
    const std::scoped_lock held(record_->lock);
    if (result && note(*record_, result) && --record_->left == 0) {
        record_->hasPower = false;
        record_->everyCall->fail(EIO);
    }
    return result;
}

CallResult<int> ScriptedDisk::open(const DiskPath& path, int flags, mode_t mode) const
{
    return changing([&] { return ScriptedCalls::open(path, flags, mode); },
        [&](Record& record, const CallResult<int>& fd) {
            const DiskPath relative = path.lexically_relative(record.place);
            const bool isHere = !relative.empty() && *relative.begin() != "..";
            return isHere && record.open(*fd, top, relative, flags);
        });
}

CallResult<int> ScriptedDisk::openBeneath(int root, const DiskPath& relative, int flags, mode_t mode) const
{
    if ((flags & uncachedOpenFlag()) != 0) {
        return std::unexpected(EINVAL); // as some file systems do
    }
    return changing([&] { return ScriptedCalls::openBeneath(root, relative, flags, mode); },
        [&](Record& record, const CallResult<int>& fd) {
            const auto from = record.nodeOf(root);
            return from && record.open(*fd, *from, relative, flags);
        });
}

CallResult<void> ScriptedDisk::close(int fd) const
{
    {
        const std::scoped_lock held(record_->lock);
        record_->opened.erase(fd); // before the number is free for another
    }
    return ScriptedCalls::close(fd);
}

CallResult<std::size_t> ScriptedDisk::write(int fd, std::span<const std::byte> bytes) const
{
    return changing([&] { return ScriptedCalls::write(fd, bytes); },
        [&](Record& record, const CallResult<std::size_t>& count) {
            const auto found = record.opened.find(fd);
            if (found == record.opened.end()) {
                return false;
            }
            Record::Opened& file = found->second;
            std::string& live = record.contents[file.node].live;
            const std::size_t offset = file.appends ? live.size() : file.offset;
            live.resize(std::max(live.size(), offset + *count));
            live.replace(offset, *count, reinterpret_cast<const char*>(bytes.data()), *count);
            file.offset = offset + *count;
            return true;
        });
}

/// Not handed on: no plug is pulled here, and thousands of syncs would take minutes.
CallResult<void> ScriptedDisk::sync(int fd) const
{
    return changing([] { return CallResult<void>(); },
        [&](Record& record, const CallResult<void>&) {
            const auto node = record.nodeOf(fd);
            if (node) {
                record.madeSure(*node);
            }
            return node.has_value();
        });
}

CallResult<void> ScriptedDisk::fullSync(int fd) const { return sync(fd); }

CallResult<void> ScriptedDisk::makeFolderAt(int folder, const std::string& name, mode_t mode) const
{
    return changing([&] { return ScriptedCalls::makeFolderAt(folder, name, mode); },
        [&](Record& record, const CallResult<void>&) {
            const auto parent = record.nodeOf(folder);
            if (parent) {
                record.live[record.next];
                record.add({.node = record.next++, .to = std::pair(*parent, name)});
            }
            return parent.has_value();
        });
}

CallResult<void> ScriptedDisk::renameAt(
    int fromFolder, const std::string& from, int toFolder, const std::string& to) const
{
    return changing([&] { return ScriptedCalls::renameAt(fromFolder, from, toFolder, to); },
        [&](Record& record, const CallResult<void>&) {
            return record.move(fromFolder, from, std::pair(toFolder, to));
        });
}

CallResult<void> ScriptedDisk::renameExclusiveAt(
    int fromFolder, const std::string& from, int toFolder, const std::string& to) const
{
    return changing([&] { return ScriptedCalls::renameExclusiveAt(fromFolder, from, toFolder, to); },
        [&](Record& record, const CallResult<void>&) {
            return record.move(fromFolder, from, std::pair(toFolder, to));
        });
}

CallResult<void> ScriptedDisk::unlinkAt(int folder, const std::string& name) const
{
    return changing([&] { return ScriptedCalls::unlinkAt(folder, name); },
        [&](Record& record, const CallResult<void>&) { return record.move(folder, name, std::nullopt); });
}

CallResult<void> ScriptedDisk::removeFolderAt(int folder, const std::string& name) const
{
    return changing([&] { return ScriptedCalls::removeFolderAt(folder, name); },
        [&](Record& record, const CallResult<void>&) { return record.move(folder, name, std::nullopt); });
}

void ScriptedDisk::restorePower(Unsynced unsynced, std::uint32_t seed)
{
    const std::scoped_lock held(record_->lock);
    std::mt19937 random(seed);
    Names names = record_->before;
    for (const Change& change : record_->changes) {
        const bool isKept = unsynced == Unsynced::shuffled ? random() % 2 == 0 : unsynced != Unsynced::lost;
        if (change.isSure || isKept) {
            carryOut(names, change);
        }
    }
    for (auto& [node, content] : record_->contents) {
        // The last of them stands for a file whose bytes all came through.
        const auto fate = unsynced == Unsynced::shuffled ? static_cast<Unsynced>(random() % 5) : unsynced;
        content.live = bytesLeft(content, fate);
        content.synced = content.live;
    }

    for (const auto& entry : std::filesystem::directory_iterator(record_->place)) {
        std::filesystem::remove_all(entry);
    }
    record_->writeFolder(names, top, record_->place);
    record_->before = names;
    record_->live = std::move(names);
    record_->changes.clear();
    record_->left = static_cast<std::size_t>(-1);
    record_->hasPower = true;
    removeRules();
    record_->everyCall = on("*");
}

} // namespace vantorel
