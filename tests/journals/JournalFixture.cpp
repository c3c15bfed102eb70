#include "JournalFixture.h"

#include "base/Text.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace vantorel {

namespace {

const std::string folder = "My.photoslibrary/resources/journals/";

std::string record(Type type, int id, std::optional<Dictionary> payload, std::vector<std::string> keys = {})
{
    return sample::journalBytes(
        {.type = type, .identifier = idBytes(id), .payload = std::move(payload), .cleared = std::move(keys)});
}

Dictionary with(Dictionary base, Dictionary more)
{
    for (auto& [key, value] : more) {
        std::erase_if(base, [&key](const auto& entry) { return entry.first == key; });
        base.emplace_back(key, std::move(value));
    }
    return base;
}

} // namespace

std::string idBytes(int number) { return sample::uuidBytes(idText(number)); }

std::string idText(int number) { return fmt::format("A0000000-0000-4000-8000-{:012}", number); }

PlistValue idList(const std::vector<int>& numbers)
{
    std::string bytes;
    for (const int number : numbers) {
        bytes += idBytes(number);
    }
    return PlistValue::Data{bytes};
}

std::string wholeRecord(int id, Dictionary payload) { return record(Type::whole, id, std::move(payload)); }

std::string changed(int id, Dictionary payload, std::vector<std::string> keys)
{
    return record(Type::change, id, std::move(payload), std::move(keys));
}

std::string cleared(int id, std::vector<std::string> keys)
{
    return record(Type::change, id, std::nullopt, std::move(keys));
}

std::string removed(int id) { return record(Type::removal, id, std::nullopt); }

Dictionary photo(Dictionary more)
{
    return with({{"directory", "A"}, {"filename", "IMG.jpeg"}, {"kind", 0}}, std::move(more));
}

Dictionary collection(int kind, const char* title, Dictionary more)
{
    return with({{"kind", kind}, {"title", title}, {"inTrash", false}}, std::move(more));
}

JournalFixture::JournalFixture()
{
    for (const char* kind :
        {"Asset", "Album", "Folder", "Keyword", "FetchingAlbum", "ProjectAlbum", "FileSystemVolume"}) {
        write(std::string(kind) + "-snapshot", {});
    }
}

void JournalFixture::write(const std::string& journal, const std::vector<std::string>& records)
{
    disk.write(folder + journal + ".plj", joined(records, ""));
}

void JournalFixture::remove(const std::string& kind)
{
    for (const char* part : {"-snapshot.plj", "-change.plj"}) {
        std::filesystem::remove(disk / (folder + kind + part));
    }
}

std::string JournalFixture::pathOf(const std::string& journal) const
{
    return (disk / (folder + journal + ".plj")).native();
}

std::expected<JournalReader::ReadResult, JournalReader::Failure> JournalFixture::read()
{
    const auto root = Root::open(calls, disk / "My.photoslibrary");
    if (!root) {
        throw std::runtime_error("the library is not there");
    }
    return JournalReader::read({.library = *root,
        .clock = clock,
        .stallLimit = Seconds(30),
        .cancel = cancel,
        .onSilence = [this](bool silent) { silences.push_back(silent); },
        .onBytes = [this](std::int64_t done, std::int64_t total) { progress.emplace_back(done, total); }});
}

JournalReader::ReadResult JournalFixture::result()
{
    auto read = this->read();
    EXPECT_TRUE(read) << "failure " << static_cast<int>(read.error());
    return read ? *std::move(read) : JournalReader::ReadResult{};
}

std::vector<std::string> told(const JournalReader::ReadResult& result)
{
    std::vector<std::string> sentences;
    for (const auto& loss : result.damage.losses) {
        sentences.push_back(sentence(loss));
    }
    for (const std::string& note : result.notes) {
        if (!note.starts_with("People names are not read")
            && !note.starts_with("Reading journals was tested")) {
            sentences.push_back(note);
        }
    }
    return sentences;
}

std::vector<std::string> described(const JournalReader::ReadResult& result)
{
    std::map<std::int64_t, std::string> names;
    for (const Album& album : result.albums) {
        names[album.pk] = album.title.value_or("-");
    }
    std::vector<std::string> lines;
    for (const Album& album : result.albums) {
        std::string line = fmt::format("{} {}", names[album.pk], nameIn(albumKindNames, album.kind));
        if (album.parentPK) {
            line += " in " + names[*album.parentPK];
        }
        line += album.isTrashed ? " deleted" : "";
        for (std::size_t i = 0; i < album.assetPKs.size(); ++i) {
            line += fmt::format("{}{}", i == 0 ? ": " : " ", album.assetPKs[i]);
        }
        line += album.lostEntries > 0 ? fmt::format(" lost {}", album.lostEntries) : "";
        lines.push_back(line);
    }
    return lines;
}

} // namespace vantorel
