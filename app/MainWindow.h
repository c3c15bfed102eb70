#pragma once

#include "app/ModelView.h"
#include "app/model/QuitFlow.h"

#include <QtWidgets/qmainwindow.h>

class QLabel;
class QSettings;
class QStackedWidget;

namespace vantorel {

class ExportSheet;

/// The one window: a screen at a time, the export sheet over it, the menus, and the quit question.
class MainWindow final : public QMainWindow, public QuitWindows {
    Q_OBJECT

public:
    MainWindow(AppModel& app, std::shared_ptr<MainTimers> timers, QSettings& settings);

    QuitFlow& quitFlow() { return quit_; }

    void askWhetherToQuit(std::function<void(Answer)> answered) override;
    bool closeAttachedSheets() override;
    void terminate() override;

protected:
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void addMenus();
    void showScreen();
    void showAcknowledgements();

    AppModel& app_;
    QSettings& settings_;
    QuitFlow quit_;
    QStackedWidget* screens_;
    ExportSheet* sheet_;
    std::vector<QPropertyNotifier> notifiers_{};
};

} // namespace vantorel
