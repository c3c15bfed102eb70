#pragma once

#include "app/ModelView.h"

class QLabel;
class QProgressBar;
class QPushButton;
class QVBoxLayout;

namespace vantorel {

/// The libraries that were found, and the ways to find more.
class SourcesView final : public ModelView {
public:
    SourcesView(AppModel& app, QWidget* parent = nullptr);

protected:
    void refresh() override;
    void showEvent(QShowEvent* event) override;

private:
    void listLibraries();
    void chooseFocus();
    void addBackupsHeading();
    void addIssues();

    QProgressBar* busy_;
    WarningLine* access_;
    WarningLine* error_;
    QWidget* looking_;
    QWidget* nothing_;
    QVBoxLayout* rows_;
    QPushButton* choose_;
    QPushButton* again_;
    QPushButton* results_;
    std::shared_ptr<const FindResult> listed_{};
};

/// One found library: its name, where it is, its format and what there is to say of it. Enter, a double click
/// and the button scan it; the arrow keys lead to its neighbours.
class LibraryRow final : public QWidget {
    Q_OBJECT

public:
    LibraryRow(const FoundLibrary& library, std::function<void()> open, const QString& action,
        QWidget* parent = nullptr);

    const DiskPath& library() const { return library_; }
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

    DiskPath library_;
    QWidget* button_ = nullptr;
    std::function<void()> open_;
};

} // namespace vantorel
