#include "overlays/warm_up.h"

#include "overlays/incoming_beam_view.h"

#include <QPixmap>

namespace kivolo {

void warmUpCards()
{
    Beam sample;
    sample.body = QStringLiteral("Aa 💜");
    sample.from_handle = QStringLiteral("A");
    IncomingBeamView(sample, false, nullptr).grab();
    IncomingBeamView(sample, true, nullptr).grab();
}

} // namespace kivolo
