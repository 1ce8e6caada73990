// Where a member writes, draws, seals and buzzes.
#pragma once

#include "core/store.h"
#include "doodle/doodle_canvas.h"
#include "style/stack.h"
#include "views/feature_guide.h"

#include <functional>
#include <memory>
#include <vector>

namespace kivolo {

class Button;
class Field;
class Label;
class MainQueue;
class Symbol;
class Text;

/// The bar at the bottom of the compose view. What is typed, drawn and chosen in it is its own, and
/// goes with it.
class Composer : public Stack
{
    Q_OBJECT
public:
    /// `onFeature` is called when a member asks for a feature; it decides when to perform() it.
    Composer(std::shared_ptr<Store> store, MainQueue &queue,
             std::function<void(FeatureGuide)> onFeature);

    /// Sends a buzz, arms a time capsule, or opens the canvas.
    void perform(FeatureGuide guide);

private:
    struct Duration
    {
        qint64 seconds;
        Button *button;
        Text *face;
    };

    Stack *chipRow(const std::function<void(FeatureGuide)> &onFeature);
    Stack *capsulePanel();
    Stack *inputRow();
    Stack *doodleRow();
    void render();
    void setDoodleShown(bool shown);
    void setCapsuleShown(bool shown);

    void mainSend();
    void beamTapped();
    void sendIt();
    void sendDoodle();
    void sendShake();
    /// Sends, and then resets what `reset` names, whatever has become of it meanwhile.
    void send(Draft draft, std::function<void()> reset);
    QString trimmedText() const;

    std::shared_ptr<Store> store_;
    MainQueue &queue_;

    bool showDoodle_ = false;
    bool showCapsule_ = false;
    qint64 capsuleDuration_;
    DoodleModel doodle_;

    QWidget *canvas_ = nullptr; // while showDoodle_
    Stack *canvasFrame_;
    Stack *doodleRow_;
    Label *doodleLabel_ = nullptr;
    Button *sendDoodle_ = nullptr;
    Stack *capsulePanel_;
    Stack *chipRow_;
    std::vector<Duration> durations_;
    Stack *inputRow_;
    Field *field_ = nullptr;
    Symbol *sendSymbol_ = nullptr;
    Button *send_ = nullptr;
};

} // namespace kivolo
