#pragma once

#include <QtCore/qcoreapplication.h>

namespace vantorel {

/// Queued calls and timers need an application object; its event loop never runs in tests of the model.
inline void makeTestApplication()
{
    if (QCoreApplication::instance()) {
        return;
    }
    static int argc = 1;
    static char name[] = "app-tests";
    static char* argv[] = {name, nullptr};
    static const QCoreApplication application(argc, argv);
}

} // namespace vantorel
