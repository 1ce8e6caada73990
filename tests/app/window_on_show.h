// The window in one of its states, and where what is on it stands.
#pragma once

#include "pictures/staged_window.h"
#include "staging/finders.h"
#include "style/button.h"
#include "style/field.h"
#include "style/theme.h"

#include <gtest/gtest.h>

namespace kivolo {

inline constexpr QSize idealSize(520, 720);
inline constexpr QSize panelSize(320, 480);

/// The one screen, and what is on it.
class WindowOnShow
{
public:
    WindowOnShow(const QString &state, const QSize &size)
        : window(state, size)
    {}

    template<typename Kind>
    QList<Kind *> all() const
    {
        return allShown<Kind>(window.view());
    }
    template<typename Kind>
    Kind &named(const QString &name) const
    {
        return shown<Kind>(window.view(), name);
    }
    QRect frame(const QWidget &widget) const
    {
        return {widget.mapTo(&window.view(), QPoint()), widget.size()};
    }

    const StagedWindow window;
};

class WindowTest : public testing::Test
{
protected:
    void SetUp() override { Theme::shared().setReducedMotion(true); }
    void TearDown() override { Theme::shared().setReducedMotion(false); }
};

} // namespace kivolo
