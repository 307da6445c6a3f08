#include "utils/strings/PluralRules_p.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QtTest>

#include <limits>

namespace PluralRules = Utils::PluralRules;

static QJsonObject languagesOfCldr()
{
    QFile file(CLDR_PLURALS);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll())
        .object()["supplemental"]
        .toObject()["plurals-type-cardinal"]
        .toObject();
}

/// The numbers of a list such as "2~4, 1.0~1.2, 1c6", each as it is written.
static QList<QByteArray> numbersIn(const QString &samples)
{
    QList<QByteArray> numbers;
    for (const QString &sample : samples.split(QRegularExpression("[, ]+"), Qt::SkipEmptyParts)) {
        if (sample == QString::fromUtf8("…"))
            continue;
        const QString first = sample.section('~', 0, 0);
        const QString last = sample.section('~', -1);
        const int decimals = first.section('.', 1).size();
        if (first == last) {
            numbers.append(first.toLatin1());
            continue;
        }
        const double step = std::pow(10.0, -decimals);
        for (double number = first.toDouble(); number < last.toDouble() + step / 2; number += step)
            numbers.append(QByteArray::number(number, 'f', decimals));
    }
    return numbers;
}

class tst_PluralRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void agreeWithTheSamplesOfCldr_data()
    {
        QTest::addColumn<QString>("language");
        const QJsonObject languages = languagesOfCldr();
        for (const QString &language : languages.keys())
            QTest::newRow(qPrintable(language)) << language;
        QVERIFY(languages.size() > PluralRules::numRuleSets); // one of each set, and more
    }

    void agreeWithTheSamplesOfCldr()
    {
        QFETCH(QString, language);
        const QJsonObject rules = languagesOfCldr()[language].toObject();
        QStringList forms;
        int count = 0;

        for (const QString &name : rules.keys()) {
            const QString form = name.section('-', -1);
            forms.append(form);
            const QString samples = rules[name].toString();
            QString numbers = samples.mid(samples.indexOf('@'));
            numbers.remove("@integer").remove("@decimal");
            for (const QByteArray &number : numbersIn(numbers)) {
                QCOMPARE(number + ' ' + PluralRules::form(language, number).toLatin1(),
                         number + ' ' + form.toLatin1());
                ++count;
            }
        }

        QVERIFY(count >= 20);
        QStringList known = PluralRules::forms(language);
        QCOMPARE(known.last(), QString("other"));
        known.sort();
        forms.sort();
        QCOMPARE(known, forms);
    }

    void haveTheFormOfANumber_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<double>("number");
        QTest::addColumn<int>("decimals");
        QTest::addColumn<QString>("form");

        const auto row = [](const char *language, double number, int decimals, const char *form) {
            QTest::addRow("%s %.17g %d", language, number, decimals)
                << QString(language) << number << decimals << QString(form);
        };
        const double infinity = std::numeric_limits<double>::infinity();
        // clang-format off
        row("en", 0, -1, "other");
        row("en", 1, -1, "one");
        row("en", -1, -1, "one");
        row("en", 1, 1, "other");
        row("en", 1.5, -1, "other");
        row("en", 1.2, 0, "one"); // shown as 1
        row("de", 1, -1, "one");
        row("fr", 0, -1, "one");
        row("fr", 1.5, -1, "one");
        row("fr", 2, -1, "other");
        row("fr", 1e6, -1, "many");
        row("pl", 1, -1, "one");
        row("pl", 22, -1, "few");
        row("pl", 12, -1, "many");
        row("pl", 1.5, -1, "other");
        row("ru", 21, -1, "one");
        row("ru", 111, -1, "many");
        row("ru", 3.5, -1, "other");
        row("cs", 3, -1, "few");
        row("cs", 1.5, -1, "many");
        row("cs", 5, -1, "other");
        row("ar", 0, -1, "zero");
        row("ar", 2, -1, "two");
        row("ar", 103, -1, "few");
        row("ar", 111, -1, "many");
        row("ar", 100, -1, "other");
        row("ja", 1, -1, "other");
        row("ru", 1e15 + 1, -1, "one");
        row("ru", 1e300, -1, "many");
        row("en", 0.1 + 0.2, -1, "other");
        row("pt_PT", 0, -1, "other");
        row("pt-PT", 0, -1, "other");
        row("pt_BR", 0, -1, "one");
        row("xx", 1, -1, "other");
        row("", 1, -1, "other");
        row("en", infinity, -1, "other");
        row("en", -infinity, -1, "other");
        row("en", std::numeric_limits<double>::quiet_NaN(), -1, "other");
        row("en", 1, std::numeric_limits<int>::max(), "other");
        row("fr", 5e-324, -1, "one");
        // clang-format on
    }

    void haveTheFormOfANumber()
    {
        QFETCH(QString, language);
        QFETCH(double, number);
        QFETCH(int, decimals);
        QFETCH(QString, form);

        QCOMPARE(PluralRules::form(language, number, decimals), form);
    }

    void haveOnlyOtherForWhatIsNoNumber()
    {
        for (const char *text : {"", "-", "x", "1x", "1.x", ".5", "1c", "1cx", "1c-1", "1c999",
                                 "1,5", "1.5/2", "1 ", "+1"})
            QCOMPARE(PluralRules::form("en", QByteArray(text)), QString("other"));
    }

    void haveNoRuleWithAnotherOperand()
    {
        static const QRegularExpression relation("([a-z]) (?:% \\d+ )?!?= ");
        int relations = 0;
        for (int i = 0; i < PluralRules::numRuleSets; ++i) {
            auto found = relation.globalMatch(PluralRules::ruleSets[i].rules);
            for (; found.hasNext(); ++relations)
                QVERIFY(QString("niftvce").contains(found.next().captured(1)));
        }
        QVERIFY(relations > 100);
    }

    void takeAnExponentAfterAnE()
    {
        for (const char *text : {"1c6", "1e6", "1.5c6", "1.5e6"})
            QCOMPARE(PluralRules::form("fr", QByteArray(text)), QString("many"));
        QCOMPARE(PluralRules::form("fr", QByteArray("1500000")), QString("other"));
    }
};

QTEST_GUILESS_MAIN(tst_PluralRules)
#include "tst_PluralRules.moc"
