#include "app/model/QtSettings.h"

#include <QtCore/qvariant.h>

#include <utility>

namespace vantorel {

namespace {

QString nativeKey(std::string_view key)
{
    return QString::fromUtf8(key.data(), static_cast<qsizetype>(key.size())).replace(u'.', u'/');
}

std::optional<QVariant> valueOf(const QSettings& settings, std::string_view key)
{
    auto value = settings.value(nativeKey(key));
    return value.isValid() ? std::optional(std::move(value)) : std::nullopt;
}

} // namespace

QtSettings::QtSettings(std::unique_ptr<QSettings> settings)
    : settings_(std::move(settings))
{
}

bool QtSettings::flag(std::string_view key) const
{
    const auto value = valueOf(*settings_, key);
    return value && value->toBool();
}

std::optional<std::string> QtSettings::bytes(std::string_view key) const
{
    const auto value = valueOf(*settings_, key);
    return value ? std::optional(value->toByteArray().toStdString()) : std::nullopt;
}

std::optional<std::string> QtSettings::text(std::string_view key) const
{
    const auto value = valueOf(*settings_, key);
    return value ? std::optional(value->toString().toStdString()) : std::nullopt;
}

void QtSettings::setFlag(std::string_view key, bool value) { settings_->setValue(nativeKey(key), value); }

void QtSettings::setBytes(std::string_view key, const std::string& value)
{
    settings_->setValue(nativeKey(key), QByteArray::fromStdString(value));
}

void QtSettings::setText(std::string_view key, const std::string& value)
{
    settings_->setValue(nativeKey(key), QString::fromStdString(value));
}

} // namespace vantorel
