// The symbols with which Qt's plugin loader finds the plugin object.

#include "plugin/backgroundsem.h"

#if QT_VERSION < 0x050000

Q_EXPORT_PLUGIN2(backgroundSEM, backgroundSEM)

#else

// Qt 5's own entry points come with Q_PLUGIN_METADATA. A Qt 4 loader looks for this one: it reads
// the version from the section without running the library, and refuses it with a clear message.

#define TEXT_OF_NUMBER(number) #number
#define TEXT_OF(macro) TEXT_OF_NUMBER(macro)

#ifdef QT_NO_DEBUG
#define DEBUG_BUILD "false"
#else
#define DEBUG_BUILD "true"
#endif

__attribute__((section(".qtplugin"), used)) static const char verificationData[] =
    "pattern=QT_PLUGIN_VERIFICATION_DATA\n"
    "version=" QT_VERSION_STR "\n"
    "debug=" DEBUG_BUILD "\n"
    "buildkey=" PROCESSOR " linux g++-" TEXT_OF(__GNUC__) " full-config";

extern "C" Q_DECL_EXPORT const char *qt_plugin_query_verification_data()
{
    return verificationData;
}

#endif
