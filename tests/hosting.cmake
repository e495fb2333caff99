# The host's side of the plugin interface: with a stub for the plugin, and with the library.
qt_test(tst_hosting hosting Qt5::Network)
qt_test(tst_trust hosting Qt5::Network)
qt_test(tst_stories hosting)
# What is drawn, on a screen with two device pixels to one.
add_test(NAME tst_hosting_fine COMMAND tst_hosting
    imageAndDesignAreBlended canvasPaintsWhenItChanged)
set_tests_properties(tst_hosting_fine PROPERTIES TIMEOUT 300
    ENVIRONMENT "QT_QPA_PLATFORM=offscreen;QT_SCALE_FACTOR=2")
qt_test(tst_watches hosting)
