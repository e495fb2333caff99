qt_test(tst_design layout)
qt_test(tst_simulator microscope)
