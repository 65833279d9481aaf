#pragma once

#include <QRegularExpression>
#include <QTest>

// Called from init(): a warning the test function did not announce with QTest::ignoreMessage()
// fails it. Qt 5 cannot do that and only prints such a warning.
inline void failOnUnexpectedWarnings()
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 3, 0)
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
#endif
}
