#include "overlays/floating_cards.h"

#include "overlays/capsule_card.h"
#include "overlays/capsule_manager.h"
#include "overlays/incoming_beam_view.h"
#include "overlays/popup_manager.h"
#include "platform/desktop/application.h"

#include <QCoreApplication>

namespace kivolo {

namespace {

std::unique_ptr<PanelContent> incomingBeamCard(const Beam &beam, bool shake,
                                               PopupManager::Action onClose)
{
    return std::make_unique<IncomingBeamView>(beam, shake, std::move(onClose));
}

std::unique_ptr<PanelContent> capsuleCard(const Beam &beam,
                                          const std::shared_ptr<CapsuleCardModel> &model)
{
    return std::make_unique<CapsuleCard>(beam, model);
}

} // namespace

FloatingCards::FloatingCards(MainQueue &queue, const Screen &screen)
    : popups_(std::make_unique<PopupManager>(PopupManager::Surroundings{
          queue, screen, incomingBeamCard, [&queue] { application::activate(queue); }}))
    , capsules_(std::make_unique<CapsuleManager>(
          CapsuleManager::Surroundings{queue, screen, capsuleCard}))
{
    PopupManager::shared_ = popups_.get();
    CapsuleManager::shared_ = capsules_.get();
}

FloatingCards::~FloatingCards()
{
    PopupManager::shared_ = nullptr;
    CapsuleManager::shared_ = nullptr;
    popups_.reset();
    capsules_.reset();
    // Widgets must not outlive the application object.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace kivolo
