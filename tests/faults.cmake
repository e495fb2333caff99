# A microscope that misbehaves, a network that fails, settings that rot, hosts that do as they please.
qt_test(tst_faults pluginfixture microscope)
qt_test(tst_endurance pluginfixture)
qt_test(tst_settings pluginfixture)
qt_test(tst_hostbehaviour pluginfixture)
qt_test(tst_anyorder pluginfixture)
