#pragma once

#include <functional>

#include <QtCore/qstringlist.h>
#include <QtWidgets/qwidget.h>

class QToolButton;

namespace vantorel {

/// A heading with a count that opens to its first entries; the rest is counted, and all of it can be copied.
class FoldedList final : public QWidget {
public:
    /// `lines` gives the first so many, or all of them. It is asked when the list is opened or copied.
    using Lines = std::function<QStringList(qsizetype atMost)>;

    FoldedList(const QString& title, qsizetype count, Lines lines, QWidget* parent = nullptr);
    void setOpen(bool isOpen);

private:
    void fill();

    qsizetype count_;
    Lines lines_;
    QToolButton* head_;
    QWidget* content_ = nullptr;
};

} // namespace vantorel
