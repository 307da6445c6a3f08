#include "data/Truth_p.h"

#include <QtTest>

class tst_Truth : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void takesThreeWordsForYes_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("yes");

        for (const char *text : {"true", "yes", "1", "TRUE", "Yes", "tRuE"})
            QTest::newRow(text) << QString(text) << true;
        for (const char *text :
             {"", "0", "no", "false", "on", "2", "y", "01", " 1", "true ", "yes\n"})
            QTest::addRow("\"%s\"", text) << QString(text) << false;
        QTest::newRow("null") << QString() << false;
    }

    void takesThreeWordsForYes()
    {
        QFETCH(QString, text);
        QFETCH(bool, yes);

        QCOMPARE(Data::saysYes(text), yes);
    }
};

QTEST_GUILESS_MAIN(tst_Truth)
#include "tst_Truth.moc"
