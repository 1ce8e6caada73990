// What everything is shown in: the desktop's colours, or the program's own, and how much moves.
#pragma once

#include "style/palette.h"

#include <QObject>
#include <optional>

class QPalette;

namespace kivolo {

/// Milliseconds that a change takes which nobody gave a length of its own.
inline constexpr int standardMotion = 350;

/// The one owner of the roles and of reduced motion. Qt's own widgets are given the same colours.
/// Main thread only.
class Theme final : public QObject
{
    Q_OBJECT
public:
    /// The application's, made at first use.
    static Theme &shared();

    /// Follows Qt, which has a theme for some desktops, until it is told otherwise. The application
    /// object has to exist.
    Theme();

    /// A view asks at each painting; it is painted anew when the colours change.
    const Palette &colors() const { return colors_; }

    /// Whether the desktop asks programs to keep still: changes then happen at once.
    bool reducesMotion() const { return reducesMotion_; }
    void setReducedMotion(bool reduced) { reducesMotion_ = reduced; }

    /// Shows light or dark as the desktop `prefersDark`, and what Qt would show where it has no
    /// preference: in Qt's colours, if those are light or dark likewise and the desktop's own.
    void follow(std::optional<bool> prefersDark);

    /// Shows `colors` from now on, whatever Qt would show.
    void show(const Palette &colors);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    Palette colors_;
    bool followsQt_ = true;
    bool reducesMotion_ = false;
};

} // namespace kivolo
