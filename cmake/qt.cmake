# One place decides which Qt is used: the library links `semQtCore`, `semQtWidgets` and
# `semQtNetwork`, whatever the version.
if(SEM_QT4)
    find_package(Qt4 4.8 REQUIRED QtCore QtGui QtNetwork)
    set(semQtCore Qt4::QtCore)
    set(semQtImage Qt4::QtGui)
    set(semQtWidgets Qt4::QtGui)
    set(semQtNetwork Qt4::QtNetwork)
else()
    find_package(Qt5 5.15 REQUIRED COMPONENTS Core Gui Widgets Network Test)
    set(semQtCore Qt5::Core)
    set(semQtImage Qt5::Gui)
    set(semQtWidgets Qt5::Widgets)
    set(semQtNetwork Qt5::Network)
    # QMatrix and error(SocketError) are what Qt 4.8 has.
    add_compile_definitions(QT_NO_DEPRECATED_WARNINGS)
endif()
