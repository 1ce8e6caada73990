// What the first card would otherwise have to wait for.
#pragma once

namespace kivolo {

/// Loads the fonts, the colour emoji and the cards' symbols, tens of milliseconds in one piece.
/// Called once on the main thread before anything is shown.
void warmUpStyle();

} // namespace kivolo
