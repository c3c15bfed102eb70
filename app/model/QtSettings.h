#pragma once

#include "app/model/SettingsStore.h"

#include <memory>

#include <QtCore/qsettings.h>

namespace vantorel {

/// The user's defaults: on macOS those of the application's own domain, elsewhere a file in the user's
/// configuration. Qt writes '/' as '.' in a defaults key (and '.' as something else), so the keys go in with
/// '/'.
class QtSettings final : public SettingsStore {
public:
    explicit QtSettings(std::unique_ptr<QSettings> settings);

    bool flag(std::string_view key) const override;
    std::optional<std::string> bytes(std::string_view key) const override;
    std::optional<std::string> text(std::string_view key) const override;
    void setFlag(std::string_view key, bool value) override;
    void setBytes(std::string_view key, const std::string& value) override;
    void setText(std::string_view key, const std::string& value) override;

    /// For what only windows remember (their size and place).
    QSettings& native() { return *settings_; }

private:
    std::unique_ptr<QSettings> settings_;
};

} // namespace vantorel
