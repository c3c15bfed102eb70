#include "app/Privacy.h"

#include <QtCore/qurl.h>
#include <QtGui/qdesktopservices.h>

namespace vantorel {

void openPrivacySettings()
{
    QDesktopServices::openUrl(
        QUrl("x-apple.systempreferences:com.apple.preference.security?Privacy_AllFiles"));
}

} // namespace vantorel
