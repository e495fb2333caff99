# Every text has a translation, and room for longer ones; every control is reached by keyboard.
add_test(NAME translated COMMAND ${CMAKE_SOURCE_DIR}/scripts/translate.sh --check)
qt_test(tst_texts klayouthost translations)
target_compile_definitions(tst_texts PRIVATE TRANSLATIONS="${CMAKE_SOURCE_DIR}/translations/")
