#include "app/Arguments.h"
#include "app/Program.h"

#include <QtGui/qguiapplication.h>

int main(int argc, char** argv)
{
    if (const auto status = vantorel::answerWithoutWindows(argc, argv)) {
        return *status;
    }
    // The menu entry's name: by it a desktop knows whose windows these are.
    QGuiApplication::setDesktopFileName("example.vantorel.Vantorel");
    return vantorel::runApplication(argc, argv);
}
