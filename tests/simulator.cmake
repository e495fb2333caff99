qt_test(tst_simulator microscope)
