#include "utils/base/FileName_p.h"

#include <QtTest>

class tst_FileName : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void removesThePrefixOfALongPath_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("plain");

        const auto row = [](const char *path, const char *plain) {
            QTest::newRow(path) << QString(path) << QString(plain);
        };
        // clang-format off
        row(R"(\\?\UNC\server\share\a b)", "//server/share/a b");
        row(R"(\\?\unc\server\share)", "//server/share");
        row("//?/UNC/server/share/a", "//server/share/a");
        row(R"(\\?\UNC\server\share/a\b)", "//server/share/a/b");
        row(R"(\/?\UNC/server\share)", "//server/share");
        row(R"(\\?\C:\a\b)", "C:/a/b");
        row("//?/C:/a", "C:/a");
        row(R"(\\?\C:)", "C:");
        row(R"(\\.\C:\a)", "C:/a");
        row("//./C:/", "C:/");
        // Without such a prefix
        row(R"(\\.\C:)", R"(\\.\C:)");
        row("//./NUL", "//./NUL");
        row(R"(\\.\UNC\server\share)", R"(\\.\UNC\server\share)");
        row(R"(\\?\Volume{1-2}\a)", R"(\\?\Volume{1-2}\a)");
        row(R"(\\?\)", R"(\\?\)");
        row("//?/UNC", "//?/UNC");
        row(R"(\\server\share\a)", R"(\\server\share\a)");
        row("//server/share", "//server/share");
        row(R"(C:\a)", R"(C:\a)");
        row("UNC/server", "UNC/server");
        row("a/b", "a/b");
        row("/", "/");
        row("", "");
        // clang-format on
    }

    void removesThePrefixOfALongPath()
    {
        QFETCH(QString, path);
        QFETCH(QString, plain);

        QCOMPARE(Utils::withoutPathPrefix(path), plain);
    }

    void removesAPrefixOnlyWhereThereAreSome()
    {
#ifdef _WIN32
        QCOMPARE(Utils::pathForQt("//?/C:/a"), QString("C:/a"));
#else
        QCOMPARE(Utils::pathForQt("//?/C:/a"), QString("//?/C:/a")); // in a folder "?"
#endif
    }
};

QTEST_GUILESS_MAIN(tst_FileName)
#include "tst_FileName.moc"
