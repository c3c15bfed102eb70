#pragma once

#include <QtCore/qpointer.h>
#include <QtWidgets/qwidget.h>

class QAbstractItemView;
class QLabel;

namespace vantorel {

class AppModel;
class ItemTableModel;
class PictureService;
class PreviewPicture;

/// The current item of a list over the whole window. Arrows go on to the next item, which becomes the list's
/// current one; Esc or Space closes it.
class LargePreview final : public QWidget {
    Q_OBJECT

public:
    /// `window` is covered; the preview is its child.
    LargePreview(AppModel& app, PictureService& pictures, ItemTableModel& items, QWidget& window);

    void open(QAbstractItemView& view);
    void closeIt();

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    bool focusNextPrevChild(bool next) override;

private:
    void showCurrent();
    void goTo(int row);

    AppModel& app_;
    ItemTableModel& items_;
    QPointer<QAbstractItemView> view_{};
    PreviewPicture* picture_;
    QLabel* name_;
    QLabel* line_;
};

} // namespace vantorel
