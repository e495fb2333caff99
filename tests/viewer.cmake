# Tests of the reference host: its widgets with a stub plugin, and the program with the real library.
qt_test(tst_viewer viewer)
qt_test(tst_viewersession viewer)
qt_test(tst_viewerprogram Qt5::Gui)
