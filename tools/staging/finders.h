// What shows in a view, found as a person finds it: by what it says.
#pragma once

#include "style/text.h"

#include <stdexcept>

namespace kivolo {

/// What a text says, and what any other view is called.
inline QString nameOf(const QWidget &view)
{
    const auto *text = qobject_cast<const Text *>(&view);
    return text ? text->text() : view.accessibleName();
}

/// All of a kind that show, each before those that lie in it.
template<typename Kind>
QList<Kind *> allShown(const QWidget &in)
{
    QList<Kind *> found = in.findChildren<Kind *>();
    found.removeIf([](const Kind *each) { return !each->isVisible(); });
    return found;
}

template<typename Kind>
bool shows(const QWidget &in, const QString &name)
{
    const QList<Kind *> all = allShown<Kind>(in);
    return std::any_of(all.begin(), all.end(), [&](auto *each) { return nameOf(*each) == name; });
}

/// The one with this name. Throws std::runtime_error when it does not show.
template<typename Kind>
Kind &shown(const QWidget &in, const QString &name)
{
    for (Kind *each : allShown<Kind>(in)) {
        if (nameOf(*each) == name)
            return *each;
    }
    throw std::runtime_error("not shown: " + name.toStdString());
}

} // namespace kivolo
