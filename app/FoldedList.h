#pragma once

#include <functional>
#include <memory>

#include <QtCore/qstringlist.h>
#include <QtWidgets/qwidget.h>

class QToolButton;

namespace vantorel {

class Mailbox;

/// A heading with a count that opens to its first entries; the rest is counted, and all of it can be copied.
class FoldedList final : public QWidget {
public:
    /// `lines` gives the first so many, or all of them. It is asked when the list is opened, and on a
    /// background thread when it is copied: so it owns what it reads, and nothing of that changes.
    using Lines = std::function<QStringList(qsizetype atMost)>;

    FoldedList(const QString& title, qsizetype count, Lines lines, QWidget* parent = nullptr);
    ~FoldedList() override;
    void setOpen(bool isOpen);

private:
    void fill();
    void copy();

    qsizetype count_;
    Lines lines_;
    QToolButton* head_;
    QWidget* content_ = nullptr;
    std::shared_ptr<Mailbox> mailbox_;
};

} // namespace vantorel
