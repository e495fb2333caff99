# Where an image lies in the design.
qt_test(tst_matching matching)
