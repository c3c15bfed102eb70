#pragma once

#include "app/ModelView.h"
#include "discovery/FoundLibrary.h"

#include <functional>
#include <vector>

class QBoxLayout;

namespace vantorel {

/// One found library: its name, where it is, its format and what there is to say of it. Enter, a double click
/// and the button open it; the arrow keys lead to its neighbours.
class LibraryRow final : public QWidget {
    Q_OBJECT

public:
    LibraryRow(const FoundLibrary& library, std::function<void()> open, const QString& action,
        QWidget* parent = nullptr);

    const FoundLibrary& library() const { return library_; }
    /// The last that the tabulator key comes to.
    QWidget* button() const { return button_; }

protected:
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    void focusNeighbour(int step);

    FoundLibrary library_;
    QWidget* button_ = nullptr;
    std::function<void()> open_;
};

/// Lists libraries anew in a layout while keeping the row of each that is as it was: a search that ends must
/// not take away the button that somebody is just clicking, nor the focus.
class LibraryRows {
public:
    using Open = std::function<void(const FoundLibrary&)>;

    /// Empties `layout`, which outlives this; `action` stands on each row's button.
    LibraryRows(QBoxLayout& layout, QString action, Open open);
    ~LibraryRows();
    LibraryRows(const LibraryRows&) = delete;
    LibraryRows& operator=(const LibraryRows&) = delete;
    LibraryRows(LibraryRows&&) = delete;
    LibraryRows& operator=(LibraryRows&&) = delete;

    /// At the end of the layout; the tabulator key comes to it after the one before.
    LibraryRow* add(const FoundLibrary& library);
    LibraryRow* last() const { return last_; } ///< Null as long as there is none.

private:
    QBoxLayout& layout_;
    QString action_;
    Open open_;
    std::vector<LibraryRow*> before_{}; ///< What is not listed any more goes at the end.
    LibraryRow* last_ = nullptr;
};

} // namespace vantorel
