#include "app/SymbolLabel.h"

#include <QtGui/qpainter.h>

namespace vantorel {

SymbolLabel::SymbolLabel(
    const QString& name, int size, std::optional<theme::Meaning> meaning, QWidget* parent)
    : QLabel(parent)
    , name_(name)
    , meaning_(meaning)
{
    setFixedSize(size, size);
}

void SymbolLabel::show(const QString& name, std::optional<theme::Meaning> meaning, const QString& spoken)
{
    name_ = name;
    meaning_ = meaning;
    setAccessibleName(spoken);
    update();
}

void SymbolLabel::paintEvent(QPaintEvent*)
{
    if (!name_.isEmpty()) {
        const auto colour =
            meaning_ ? theme::colour(*meaning_, palette()) : palette().color(QPalette::WindowText);
        QPainter(this).drawPixmap(0, 0, theme::symbol(name_, width(), colour, devicePixelRatioF()));
    }
}

} // namespace vantorel
