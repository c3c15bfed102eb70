#pragma once

#include "app/ModelView.h"
#include "app/model/QuitFlow.h"

#include <QtCore/qpointer.h>
#include <QtWidgets/qdialog.h>
#include <QtWidgets/qmainwindow.h>

class QAction;
class QLabel;
class QMenu;
class QSettings;
class QStackedWidget;

namespace vantorel {

class ExportSheet;

/// The one window: a screen at a time, the export sheet over it, the menus, and the quit question.
class MainWindow final : public QMainWindow, public QuitWindows {
    Q_OBJECT

public:
    MainWindow(AppModel& app, std::shared_ptr<MainTimers> timers, QSettings& settings, Desktop& desktop);
    ~MainWindow() override;

    QuitFlow& quitFlow() { return quit_; }
    /// Also when it was closed or is minimised.
    void bringToFront();
    /// A library that was dropped, double-clicked or named at the start. The first run is finished first;
    /// while the export sheet or a question is in front, nothing happens but the system's sound for that.
    void openGiven(const DiskPath& folder);

    void askWhetherToQuit(std::function<void(Answer)> answered) override;
    bool closeAttachedSheets() override;
    void terminate() override;

protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    /// A command of a menu; its shortcut works while it is enabled.
    QAction* addCommand(
        QMenu* menu, const QString& title, const QKeySequence& keys, std::function<void()> act);
    void addMenus();
    void addResultCommands(QMenu* file, QMenu* view);
    void listen();
    void showScreen();
    void focusScreen();
    void showError();
    void goBack();
    void showSettings();
    void showAcknowledgements();

    AppModel& app_;
    QSettings& settings_;
    Desktop& desktop_;
    QuitFlow quit_;
    WarningLine* error_;
    QStackedWidget* screens_;
    ExportSheet* sheet_;
    QAction* choose_ = nullptr;
    QAction* look_ = nullptr;
    std::vector<QAction*> ofResults_{};
    std::optional<DiskPath> given_{}; ///< Opened after the first run.
    QPointer<QWidget> beforeSheet_{}; ///< What had the focus before the sheet came up.
    QPointer<QDialog> settingsWindow_{};
    QPointer<QDialog> acknowledgements_{};
    std::vector<QPropertyNotifier> notifiers_{};
};

} // namespace vantorel
