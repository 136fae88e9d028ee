#include "TSLogger.h"
#include "VLError.h"
#include "VLFormat.h"

#include <QDateTime>
#include <QTimeZone>

#include <gtest/gtest.h>

TEST(Format, PrintfConversionsOverTypedArguments)
{
    EXPECT_EQ(vlFormat("%s: L%d: x", "F::g", 42), "F::g: L42: x");
    EXPECT_EQ(vlFormat("%ld|%lld|%5d|%-4d|%03ld", qint64(-1024), 7LL, 3, 9, 5L), "-1024|7|    3|9   |005");
    EXPECT_EQ(vlFormat("%.2f %g", 3.14159, 0.5), "3.14 0.5");
    EXPECT_EQ(vlFormat("100%% of %u", 5u), "100% of 5");
    EXPECT_EQ(vlFormat("%x", 255), "ff");
    // A count or type mismatch never reads garbage: missing arguments print as (null), extra are ignored.
    EXPECT_EQ(vlFormat("%@ and %@", QStringLiteral("one")), "one and (null)");
    EXPECT_EQ(vlFormat("%d", QStringLiteral("12")), "12");
    EXPECT_EQ(vlFormat("trailing %"), "trailing %");
    EXPECT_EQ(vlFormat("%q unknown"), "%q unknown");
}

TEST(Format, ObjectDescriptions)
{
    EXPECT_EQ(vlFormat("%@", QVariantMap{{"b", 1}, {"a", "x y"}}), "{\n    a = \"x y\";\n    b = 1;\n}");
    EXPECT_EQ(vlFormat("%@", QVariantList{"a", 2}), "(\n    a,\n    2\n)");
    EXPECT_EQ(vlFormat("%@", QByteArray("\x01\xff", 2)), "<01ff>");
    EXPECT_EQ(vlFormat("%@", QDateTime(QDate(2024, 3, 1), QTime(12, 0), QTimeZone::utc())), "2024-03-01 12:00:00 +0000");
    const VLError error(QStringLiteral("SyncManager"), -1024, QStringLiteral("Cancelled"));
    EXPECT_EQ(vlFormat("%@", error), "Error Domain=SyncManager Code=-1024 \"Cancelled\"");
    const VLError *none = nullptr;
    EXPECT_EQ(vlFormat("%@", none), "(null)");
    EXPECT_EQ(vlFormat("%@", true), "1");
}

namespace {
struct Widget
{
    QByteArray plain() { return vlQualifiedFunctionName(__PRETTY_FUNCTION__); }
    static QByteArray fromStatic() { return vlQualifiedFunctionName(__PRETTY_FUNCTION__); }
    QByteArray fromLambda()
    {
        return [] { return vlQualifiedFunctionName(__PRETTY_FUNCTION__); }();
    }
};
template <typename T>
QByteArray templated(T)
{
    return vlQualifiedFunctionName(__PRETTY_FUNCTION__);
}
} // namespace

TEST(Format, QualifiedFunctionNames)
{
    Widget w;
    EXPECT_EQ(w.plain(), "{anonymous}::Widget::plain");
    EXPECT_EQ(Widget::fromStatic(), "{anonymous}::Widget::fromStatic");
    EXPECT_EQ(w.fromLambda(), "{anonymous}::Widget::fromLambda");
    EXPECT_EQ(templated(1), "{anonymous}::templated");
    EXPECT_EQ(vlQualifiedFunctionName("std::map<int, int> Cache::entries(int) const"), "Cache::entries");
    EXPECT_EQ(vlQualifiedFunctionName("void VLSyncManager::startSync()"), "VLSyncManager::startSync");
    EXPECT_EQ(vlQualifiedFunctionName("bool Foo::operator()(int)"), "Foo::operator()");
}
