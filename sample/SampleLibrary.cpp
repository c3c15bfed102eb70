#include "sample/SampleLibrary.h"

#include "sample/DatabaseWriter.h"
#include "sample/Journals.h"
#include "sample/LibraryFiles.h"

#include <fmt/format.h>

#include <array>
#include <stdexcept>
#include <vector>

namespace vantorel::sample {

namespace {

constexpr int firstGeneration = 5;
constexpr std::array<std::int64_t, 8> modelVersions{
    13703, 14208, 15502, 16502, 17600, 18600, 19320, 270'000'000};

} // namespace

std::int64_t modelVersion(int generation)
{
    const std::size_t index = static_cast<std::size_t>(generation - firstGeneration);
    if (generation < firstGeneration || index >= modelVersions.size()) {
        throw std::runtime_error(
            fmt::format("There is no generation {}: 5 to 12 can be written.", generation));
    }
    return modelVersions[index];
}

void writeLibrary(const SamplePlan& plan, const WriteOptions& options, const DiskPath& folder)
{
    modelVersion(options.generation); // Refuses one that does not exist before anything is written.
    const Layout layout(options.generation, options.changes);
    const LibraryRows rows = layOut(plan, options);
    FileWriter files(folder);
    LibraryFiles media(plan, options, rows, files);
    media.writeFurniture();
    std::vector<FileFacts> facts;
    facts.reserve(plan.items.size());
    for (std::size_t i = 0; i < plan.items.size(); ++i) {
        facts.push_back(media.write(i));
    }
    media.writeStrays();
    const DiskPath database("database/Photos.sqlite");
    const LibraryContent content{
        .plan = plan, .options = options, .rows = rows, .layout = layout, .facts = facts};
    writeDatabase(content, folder / database);
    files.setModified(database, libraryTime);
    if (options.withLog) {
        files.setModified("database/Photos.sqlite-wal", libraryTime);
        files.setModified("database/Photos.sqlite-shm", libraryTime);
    }
    if (options.withJournals) {
        writeJournals(content, files);
    }
    files.finishFolders(libraryTime);
}

} // namespace vantorel::sample
