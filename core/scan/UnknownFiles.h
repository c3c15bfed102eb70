#pragma once

#include "disk/FS.h"
#include "scan/OriginalsReport.h"

#include <string>
#include <vector>

namespace vantorel {

/// Groups the files of one folder that no record claims: those that begin with one identifier belong
/// together, a file without an identifier stands alone. `directory` is relative to the originals folder,
/// `folder` to the library package.
std::vector<OriginalsReport::UnknownFile> groupUnknownFiles(
    const std::string& directory, const std::string& folder, const std::vector<const FS::Entry*>& files);

} // namespace vantorel
