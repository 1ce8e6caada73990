// The window in one of its states, and where what is on it stands.
#pragma once

#include "pictures/staged_window.h"
#include "style/button.h"
#include "style/field.h"
#include "style/motion.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace kivolo {

inline constexpr QSize idealSize(520, 720);
inline constexpr QSize panelSize(320, 480);

/// Edges between points, where a QRect would count pixels.
struct Frame
{
    explicit Frame(const QRect &rect)
        : left(rect.left())
        , top(rect.top())
        , right(rect.left() + rect.width())
        , bottom(rect.top() + rect.height())
    {}
    double left, top, right, bottom;
    double width() const { return right - left; }
    double height() const { return bottom - top; }
    double middle() const { return (top + bottom) / 2; }
    double centre() const { return (left + right) / 2; }
};

inline QString nameOf(const Text &text)
{
    return text.text();
}
inline QString nameOf(const QWidget &control)
{
    return control.accessibleName();
}

/// The one screen, and the frames of what is on it in the window.
class WindowOnShow
{
public:
    WindowOnShow(const char *state, const QSize &size)
        : window(QLatin1String(state), size)
        , width(size.width())
        , height(size.height())
    {}

    template<typename Kind>
    QList<Kind *> all() const
    {
        QList<Kind *> found = window.view().findChildren<Kind *>();
        found.removeIf([](const Kind *each) { return !each->isVisible(); });
        return found;
    }
    Frame frame(const QWidget &widget) const
    {
        return Frame(QRect(widget.mapTo(&window.view(), QPoint()), widget.size()));
    }
    Frame text(const QString &name) const { return frame(*named<Text>(name)); }
    Frame text(const char *name) const { return text(QString::fromUtf8(name)); }
    Frame button(const QString &name) const { return frame(*named<Button>(name)); }
    Frame button(const char *name) const { return button(QString::fromUtf8(name)); }
    Frame field(const char *name) const { return frame(*named<Field>(QString::fromUtf8(name))); }
    /// The only one of its kind; within the button `of`, if it has a name.
    template<typename Kind>
    Frame only(const char *of = "") const
    {
        const QString name = QString::fromUtf8(of);
        const QWidget *within = name.isEmpty() ? &window.view() : named<Button>(name);
        for (Kind *each : within->findChildren<Kind *>()) {
            if (each->isVisible())
                return frame(*each);
        }
        throw std::runtime_error("there is none");
    }
    /// Of what has no name and a type that only its file knows.
    Frame part(const char *type) const
    {
        for (const QWidget *each : all<QWidget>()) {
            if (QByteArray(each->metaObject()->className()) == QByteArray("kivolo::") + type)
                return frame(*each);
        }
        throw std::runtime_error(type);
    }

    const StagedWindow window;
    const double width;
    const double height;

    template<typename Kind>
    Kind *named(const QString &name) const
    {
        for (Kind *each : all<Kind>()) {
            if (nameOf(*each) == name)
                return each;
        }
        throw std::runtime_error("not shown: " + name.toStdString());
    }
};

class WindowTest : public testing::Test
{
protected:
    void SetUp() override { motion::setReduced(true); }
    void TearDown() override { motion::setReduced(false); }
};

} // namespace kivolo
