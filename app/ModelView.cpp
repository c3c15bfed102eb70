#include "app/ModelView.h"

#include "app/SymbolLabel.h"
#include "app/Theme.h"
#include "base/Text.h"

#include <utility>

#include <QtCore/qcoreevent.h>
#include <QtGui/qtextdocument.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qpushbutton.h>

namespace vantorel {

QString shown(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QString displayed(std::string_view bytes) { return shown(displayText(bytes)); }

QString withLine(const QString& text, const std::optional<std::string>& line)
{
    return line ? text + "\n" + displayed(*line) : text;
}

QString displayedText(std::string_view bytes)
{
    QStringList lines;
    for (auto rest = std::optional(bytes); rest;) {
        const auto end = rest->find('\n');
        lines << displayed(rest->substr(0, end));
        rest = end == std::string_view::npos ? std::nullopt : std::optional(rest->substr(end + 1));
    }
    return lines.join('\n');
}

QString plainToolTip(const QString& text)
{
    return Qt::mightBeRichText(text) ? "<qt>" + text.toHtmlEscaped().replace('\n', "<br>") + "</qt>" : text;
}

bool ModelView::event(QEvent* event)
{
    if (event->type() == QEvent::Show && std::exchange(isStale_, false)) {
        refresh();
    }
    return QWidget::event(event);
}

WarningLine::WarningLine(const QString& text, Kind kind, QWidget* parent)
    : QWidget(parent)
    , text_(theme::text(text, theme::TextStyle::body))
    , advice_(theme::text("", theme::TextStyle::quiet))
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    const bool warns = kind == Kind::warning;
    auto* symbol = new SymbolLabel(warns ? "exclamationmark.triangle.fill" : "info.circle",
        fontMetrics().height() + 2, warns ? theme::Meaning::attention : theme::Meaning::unknown);
    symbol->setAccessibleName(warns ? "Warning" : "Note");
    layout->addWidget(symbol, 0, Qt::AlignTop);
    auto* lines = new QVBoxLayout;
    lines->setSpacing(4);
    lines->addWidget(text_);
    lines->addWidget(advice_);
    advice_->hide();
    for (auto* label : {text_, advice_}) {
        label->setMaximumWidth(theme::textWidth);
    }
    layout->addLayout(lines, 10);
    layout->addStretch();
}

void WarningLine::setText(const QString& text) { text_->setText(text); }

void WarningLine::setTextOrHide(
    const std::optional<std::string>& text, const std::optional<std::string>& advice)
{
    advice_->setText(displayed(advice.value_or("")));
    advice_->setVisible(advice.has_value());
    setVisible(text.has_value());
    text_->setText(text ? displayed(*text) : QString());
}

void WarningLine::addButton(const QString& title, std::function<void()> action)
{
    auto* button = new QPushButton(title);
    connect(button, &QPushButton::clicked, this, [action = std::move(action)] { action(); });
    layout()->addWidget(button);
    layout()->setAlignment(button, Qt::AlignTop);
}

} // namespace vantorel
