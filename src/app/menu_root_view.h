// Which screen the member sees.
#pragma once

#include "api/records.h"
#include "style/stack.h"

#include <memory>

namespace kivolo {

class MainQueue;
class Store;
class UserDefaults;

/// The whole content of the window, and of the panel: both show the same store and the same
/// settings, and so always the same screen.
class MenuRootView : public Stack
{
    Q_OBJECT
public:
    /// `defaults` and `queue` must outlive the view.
    MenuRootView(std::shared_ptr<Store> store, UserDefaults &defaults, MainQueue &queue);

private:
    enum class Route { BlockingUpdate, Loading, Welcome, CreateOrJoin, Waiting, Composer };
    Route route() const;
    void render();
    void renderBanner();
    QWidget *content(Route route);

    std::shared_ptr<Store> store_;
    UserDefaults &defaults_;
    MainQueue &queue_;

    Stack *banner_;
    Stack *content_;
    QWidget *shownBanner_ = nullptr;
    QWidget *shownContent_ = nullptr;
    std::optional<VersionInfo> shownOffer_; // on the banner
    std::optional<Route> shownRoute_;
    std::optional<QString> shownDownload_; // where the blocking screen sends to
};

} // namespace kivolo
