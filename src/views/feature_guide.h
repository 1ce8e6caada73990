// The features that are explained before their first use, and the card that does it.
#pragma once

#include "style/symbols.h"

#include <QString>
#include <QWidget>
#include <functional>
#include <optional>

namespace kivolo {

class Button;
class Stack;

enum class FeatureGuide { buzz, capsule, doodle };

/// "buzz", "capsule" or "doodle": what the guide is called in the settings.
QString rawValue(FeatureGuide guide);
/// The guide that is called exactly `rawValue`, if any.
std::optional<FeatureGuide> featureGuide(const QString &rawValue);

/// What a guide's card shows.
struct FeatureGuideContent
{
    SymbolName symbol;
    QString title;
    QString description;
    QString primary; ///< On the button that opens the feature.

    static FeatureGuideContent of(FeatureGuide guide);
};

/// Lies over the whole of its parent, dims it, and shows a card in its middle. Only reports what is
/// chosen. While it is shown the focus stays in it; Escape or a click beside the card chooses to
/// close.
class FeatureGuideCard : public QWidget
{
    Q_OBJECT
public:
    using Action = std::function<void()>;
    FeatureGuideCard(FeatureGuide guide, Action onPrimary, Action onClose, QWidget *parent);

    bool eventFilter(QObject *watched, QEvent *event) override;

protected:
    bool event(QEvent *event) override;
    bool focusNextPrevChild(bool next) override;
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    bool isBeside(const QMouseEvent &event) const;

    Action onClose_;
    bool pressedBeside_ = false;
    Button *primary_;
    Button *later_;
    Stack *card_;
};

} // namespace kivolo
