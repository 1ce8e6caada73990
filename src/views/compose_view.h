// The main screen: header, feed, composer.
#pragma once

#include "views/feature_guide.h"

#include <QPointer>
#include <QWidget>
#include <memory>

namespace kivolo {

class Composer;
class FeedView;
class MainQueue;
class ScrollView;
class Stack;
class Store;
class UserDefaults;

/// What a member sees whose circle has someone else in it.
class ComposeView : public QWidget
{
    Q_OBJECT
public:
    /// `defaults` and `queue` must outlive the view.
    ComposeView(std::shared_ptr<Store> store, UserDefaults &defaults, MainQueue &queue,
                QWidget *parent = nullptr);

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void render();
    void tapFeature(FeatureGuide guide);
    void setActiveGuide(std::optional<FeatureGuide> guide);

    std::shared_ptr<Store> store_;
    UserDefaults &defaults_;

    Stack *column_;
    FeedView *feed_;
    ScrollView *emptyState_;
    Composer *composer_;
    QPointer<FeatureGuideCard> guideCard_; // while a guide is active
};

} // namespace kivolo
