#ifndef KLAYOUT_LANGUAGE_H
#define KLAYOUT_LANGUAGE_H

namespace klayout {

/// Translates the texts of plugin and package from here on, if there is a translation for the user's
/// first language. Texts of widgets that are there already stay as they are. Call it as often as
/// you like.
void speakUsersLanguage();

} // namespace klayout

#endif
