# What the image's place is worth: whether the predicted errors are honest is for the benchmark.
qt_test(tst_alignerror hosting)
