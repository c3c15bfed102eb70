#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vantorel {

/// The user's defaults under the keys that `settingsKeys` names. Main thread.
class SettingsStore {
public:
    virtual ~SettingsStore() = default;
    virtual bool flag(std::string_view key) const = 0;
    /// None when it is absent.
    virtual std::optional<std::string> bytes(std::string_view key) const = 0;
    virtual std::optional<std::string> text(std::string_view key) const = 0;
    virtual void setFlag(std::string_view key, bool value) = 0;
    virtual void setBytes(std::string_view key, const std::string& value) = 0;
    virtual void setText(std::string_view key, const std::string& value) = 0;
};

namespace settingsKeys {
inline constexpr std::string_view onboardingDone = "onboarding.done";
inline constexpr std::string_view seenWelcome = "onboarding.seenWelcome";
inline constexpr std::string_view exportOptions = "export.options";
inline constexpr std::string_view exportDestination = "export.destination";
inline constexpr std::string_view itemsLook = "items.look";
} // namespace settingsKeys

} // namespace vantorel
