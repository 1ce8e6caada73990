// Fields that show capitals whatever is typed.
#pragma once

class QLineEdit;

namespace kivolo {

/// From now on `field` holds its text in upper case, by Unicode's full mapping and whatever the
/// user's language: typed, pasted or set. The cursor stays where it is, and typing can be undone.
void alwaysUpperCase(QLineEdit *field);

} // namespace kivolo
