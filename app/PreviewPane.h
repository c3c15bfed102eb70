#pragma once

#include "app/model/ScannedLibrary.h"
#include "app/pictures/PictureService.h"

#include <memory>
#include <optional>

#include <QtCore/qpointer.h>
#include <QtWidgets/qscrollarea.h>

class QLabel;
class QVBoxLayout;

namespace vantorel {

class SymbolLabel;

/// One item's picture, as large as the widget allows.
class PreviewPicture final : public QWidget {
    Q_OBJECT

public:
    explicit PreviewPicture(PictureService& pictures, QWidget* parent = nullptr);
    ~PreviewPicture() override;

    /// An item, by its position in the snapshot, and those that may follow.
    void show(std::shared_ptr<const ScannedLibrary> library, std::size_t asset,
        const std::vector<std::size_t>& next = {});
    void clear();
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    int side() const;
    void want();

    QPointer<PictureService> pictures_;
    std::shared_ptr<const ScannedLibrary> library_{};
    std::size_t asset_ = 0;
    std::vector<std::size_t> next_{};
};

/// What is known of the selected item, beside the list. All of it can be selected as text.
class PreviewPane final : public QScrollArea {
    Q_OBJECT

public:
    explicit PreviewPane(PictureService& pictures, QWidget* parent = nullptr);

    void show(const std::shared_ptr<const ScannedLibrary>& library, std::size_t asset);
    void clear();

private:
    struct Field {
        QWidget* whole;
        QLabel* value;
    };
    Field addField(QVBoxLayout& layout, const QString& title);
    static void fill(const Field& field, const QString& value);

    PreviewPicture* picture_;
    QWidget* facts_;
    QLabel* hint_;
    QLabel* name_;
    QLabel* date_;
    QLabel* kind_;
    SymbolLabel* symbol_;
    QLabel* status_;
    Field title_{};
    Field caption_{};
    Field keywords_{};
    Field people_{};
};

} // namespace vantorel
