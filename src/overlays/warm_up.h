// What the first card would otherwise have to wait for.
#pragma once

namespace kivolo {

/// Paints a popup and a buzz where nobody sees them, which loads the fonts, the colour emoji and
/// the symbols: some tens of milliseconds in one piece. Called once, on the main thread, before the
/// first beam can arrive.
void warmUpCards();

} // namespace kivolo
