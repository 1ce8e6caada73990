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
    /// `defaults` and `queue` must outlive the view. A guide covers `stage`, which has the view in
    /// it, or only the view if there is none.
    ComposeView(std::shared_ptr<Store> store, UserDefaults &defaults, MainQueue &queue,
                QWidget *stage = nullptr);
    ~ComposeView() override;

protected:
    void hideEvent(QHideEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void render();
    void tapFeature(FeatureGuide guide);
    void setActiveGuide(std::optional<FeatureGuide> guide);

    std::shared_ptr<Store> store_;
    UserDefaults &defaults_;
    QWidget *stage_;

    Stack *column_;
    FeedView *feed_;
    ScrollView *emptyState_;
    Composer *composer_;
    QPointer<FeatureGuideCard> guideCard_; // while a guide is active
};

} // namespace kivolo
