// The feed as assistive technology sees it.
#pragma once

namespace kivolo {

/// Makes each FeedView a list whose items are its rows. An item exists once somebody has asked for
/// it, and asking for its name lays nothing out, so a long feed costs nothing before it is read.
/// Main thread only; further calls do nothing.
void installFeedAccessibility();

} // namespace kivolo
