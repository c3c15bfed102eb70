#pragma once

#include "app/Theme.h"

#include <optional>

#include <QtWidgets/qlabel.h>

namespace vantorel {

/// A drawn symbol that follows the palette and the screen it is on.
class SymbolLabel final : public QLabel {
public:
    /// Without a meaning it has the colour of text. `name` may be empty: then there is room, and nothing in
    /// it.
    SymbolLabel(const QString& name, int size, std::optional<theme::Meaning> meaning = std::nullopt,
        QWidget* parent = nullptr);
    /// `spoken` is what a screen reader says for it.
    void show(const QString& name, std::optional<theme::Meaning> meaning, const QString& spoken);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString name_;
    std::optional<theme::Meaning> meaning_;
};

} // namespace vantorel
