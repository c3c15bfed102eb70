#pragma once

namespace vantorel {

/// Shows the system's list of programs with Full Disk Access. Where a system has no such list, access is
/// never off, and nothing offers this.
void openPrivacySettings();

} // namespace vantorel
