// How much room a view takes, said where it is made.
#pragma once

#include <QWidget>

namespace kivolo {

/// A `Base` that can be told its padding and its size in the expression that makes it. `Self` is
/// the class that is derived from this one, and what the expression goes on with.
template<typename Self, typename Base>
class Fitted : public Base
{
public:
    using Base::Base;

    Self *padded(int all) { return padded(all, all); }
    Self *padded(int horizontal, int vertical)
    {
        return padded({horizontal, vertical, horizontal, vertical});
    }
    Self *padded(const QMargins &margins)
    {
        this->setContentsMargins(margins);
        return self();
    }
    /// As wide, as high, or both, as there is room.
    Self *filling(Qt::Orientations directions = Qt::Horizontal | Qt::Vertical)
    {
        const auto policy = [directions](Qt::Orientation direction) {
            return directions & direction ? QSizePolicy::Expanding : QSizePolicy::Preferred;
        };
        this->setSizePolicy(policy(Qt::Horizontal), policy(Qt::Vertical));
        return self();
    }
    Self *wide(int width)
    {
        this->setFixedWidth(width);
        return self();
    }
    Self *high(int height)
    {
        this->setFixedHeight(height);
        return self();
    }

private:
    Self *self() { return static_cast<Self *>(this); }
};

} // namespace kivolo
