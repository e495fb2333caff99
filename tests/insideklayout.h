#ifndef TESTS_INSIDEKLAYOUT_H
#define TESTS_INSIDEKLAYOUT_H

#include <QTimer>
#include <QtTest>

/// The entry of a test library that insideklayout.py loads: runs the tests once KLayout's event
/// loop runs, and hands the number of failures over.
#define TEST_WITHIN_KLAYOUT(TestClass)                                                             \
    QByteArray (*evaluate)(const QByteArray &expression);                                          \
    static const char *(*evaluateText)(const char *);                                              \
    static QByteArray evaluateBytes(const QByteArray &expression)                                  \
    {                                                                                              \
        return evaluateText(expression.constData());                                               \
    }                                                                                              \
    extern "C" void start_tests(const char *(*evaluator)(const char *), void (*finished)(int))     \
    {                                                                                              \
        evaluateText = evaluator;                                                                  \
        evaluate = evaluateBytes;                                                                  \
        QTimer::singleShot(1000, [finished] {                                                      \
            const QByteArray arguments = qgetenv("SEM_TEST_ARGUMENTS");                            \
            QStringList list(#TestClass);                                                          \
            if (!arguments.isEmpty())                                                              \
                list << QString(arguments).split(' ');                                             \
            TestClass test;                                                                        \
            finished(QTest::qExec(&test, list));                                                   \
        });                                                                                        \
    }

#endif
