// A picture that is never quite still.
#pragma once

namespace kivolo {

class Illustration;

/// Lets `illustration` grow and shrink about its centre without end, gently, while it is shown.
/// It keeps still where the desktop asks for that. Returns it.
Illustration *breathing(Illustration *illustration);

} // namespace kivolo
