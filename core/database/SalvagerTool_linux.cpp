#include "database/SalvagerTool.h"

namespace vantorel {

namespace {

constexpr std::string_view ownName = "vantorel-sqlite3";

} // namespace

std::vector<DiskPath> salvagerToolPlaces(const SystemCalls& calls)
{
    std::vector<DiskPath> places;
    const auto isThere = [&calls](const DiskPath& file) {
        const auto status = calls.status(file, SystemCalls::Links::followed);
        return status && status->type == FileStatus::Type::regular;
    };
    if (const auto program = calls.realPath("/proc/self/exe")) {
        const auto folder = program->parent_path();
        // As installed; beside a program that was merely copied; in the tree that it was built in.
        for (const DiskPath& place : {folder.parent_path() / "libexec/vantorel" / ownName, folder / ownName,
                 folder.parent_path().parent_path() / "tools" / ownName}) {
            if (isThere(place)) {
                places.push_back(place);
            }
        }
    }
    places.emplace_back("/usr/bin/sqlite3");
    return places;
}

} // namespace vantorel
