#pragma once

#include <QtCore/qstring.h>
#include <QtWidgets/qdialog.h>

namespace vantorel {

/// Whom the program stands on.
class AcknowledgementsWindow final : public QDialog {
public:
    /// `file` holds the text.
    explicit AcknowledgementsWindow(QWidget* parent, const QString& file = ":/acknowledgements.txt");
};

} // namespace vantorel
