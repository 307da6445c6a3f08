#include "utils/tagfile/HeldTags_p.h"

#include "tests/csv/FailingMemory.h"

#include "tests/support/Windows.h"

#include <QtTest>

#include <random>

using Utils::HeldTags;
using Utils::TagFile;

static std::unique_ptr<TagFile::Tag> tagOf(const QString &name, const QString &id)
{
    auto tag = std::make_unique<TagFile::Tag>(name);
    if (!id.isNull())
        tag->add("id", id);
    return tag;
}

/// Tags with the names "point" and the ids "0", "1", and so on.
static void addPoints(HeldTags &tags, int count)
{
    for (int i = 0; i < count; ++i)
        tags.append(tagOf("point", QString::number(i)));
}

/// The position of the first tag that matches, found by comparing all.
static int plainlyFound(const HeldTags &tags, const QString &name, const QString &key,
                        const QString &value, int from)
{
    for (int position = from; position < tags.size(); ++position) {
        const TagFile::Tag &tag = tags.at(position);
        if (tag.name == name &&
            (key.isEmpty() || tag.get(key, 0) == value || (value.isEmpty() && tag.contains(key))))
            return position;
    }
    return tags.size();
}

class tst_HeldTags : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsTheTagsThatAPlainSearchFinds()
    {
        int numFound = 0;
        for (unsigned int seed = 0; seed < 60; ++seed) {
            std::mt19937 random(seed);
            const auto below = [&](unsigned int count) { return int(random() % count); };
            const auto randomText = [&](unsigned int count) {
                const int number = below(count);
                return number == 0   ? QString()
                       : number == 1 ? QString("")
                                     : QString::number(number);
            };
            HeldTags tags;
            std::vector<TagFile::Tag *> lent;
            const auto addOne = [&] {
                auto tag = tagOf(randomText(4), randomText(40));
                if (below(3) == 0)
                    tag->add("id", randomText(40)).add("key", randomText(5));
                tags.append(std::move(tag));
            };
            for (int i = below(300); i > 0; --i)
                addOne();

            for (int step = 0; step < 3000; ++step) {
                if (below(40) == 0 && tags.size() > 0)
                    lent.push_back(&tags.lend(below(unsigned(tags.size()))));
                if (below(10) == 0 && !lent.empty())
                    lent[std::size_t(below(unsigned(lent.size())))]->replace("id", randomText(40));
                if (below(400) == 0)
                    addOne();
                if (below(400) == 0) {
                    auto tag = tagOf("2", randomText(40));
                    lent.push_back(&(below(2) ? tags.appendLent(std::move(tag))
                                              : tags.prependLent(std::move(tag))));
                }
                if (below(800) == 0 && tags.size() > 0) {
                    const int position = below(unsigned(tags.size()));
                    lent.erase(std::remove(lent.begin(), lent.end(), &tags.at(position)),
                               lent.end());
                    tags.remove(position);
                }
                const QString name = randomText(4);
                const QString key = below(5) == 0 ? randomText(2) : below(4) == 0 ? "key" : "id";
                const QString value = randomText(42);
                const int from = below(3) == 0 ? below(unsigned(tags.size()) + 2) : 0;
                const int expected = plainlyFound(tags, name, key, value, from);
                QVERIFY2(tags.find(name, key, value, from) == std::max(expected, from) ||
                             expected == tags.size(),
                         qPrintable(QString("seed %1, step %2").arg(seed).arg(step)));
                if (expected == tags.size())
                    QVERIFY(tags.find(name, key, value, from) >= tags.size());
                else
                    ++numFound;
            }
        }
        QVERIFY(numFound > 60000);
    }

    void comparesFewTagsInManySearches()
    {
        HeldTags tags;
        addPoints(tags, 10000);

        for (int i = 0; i < 10000; ++i)
            QCOMPARE(tags.find("point", "id", QString::number(9999 - i), 0), 9999 - i);

        // Those of the first searches, and one for each of the others.
        QVERIFY(tags.numCompared() < 9 * 10000 + 2 * 10000);
    }

    void comparesFewTagsInSearchesForNames()
    {
        HeldTags tags;
        for (int i = 0; i < 10000; ++i)
            tags.append(tagOf(QString::number(i), "id"));

        for (int i = 0; i < 10000; ++i)
            QCOMPARE(tags.find(QString::number(9999 - i), QString(), QString(), 0), 9999 - i);

        QVERIFY(tags.numCompared() < 9 * 10000 + 2 * 10000);
    }

    void makesNoIndexForFewSearches()
    {
        HeldTags tags;
        addPoints(tags, 1000);

        for (int i = 0; i < 8; ++i)
            tags.find("point", "id", "999", 0);

        QCOMPARE(tags.numCompared(), 8000);
    }

    void removesTheFirstAndTheLastTagWithoutMovingTheOthers()
    {
        using Utils::TagList;
        HeldTags tags;
        addPoints(tags, 200);
        // Where the list holds each of its elements, in their order.
        const auto places = [&] {
            std::vector<const void *> found;
            tags.appendFrom([&](TagList &list) {
                for (const auto &tag : list)
                    found.push_back(&tag);
            });
            return found;
        };

        std::vector<const void *> before = places();
        while (tags.size() > 1) {
            tags.remove(0);
            before.erase(before.begin());
            QVERIFY(places() == before);
            tags.remove(tags.size() - 1);
            before.pop_back();
            QVERIFY(places() == before);
        }
    }

    void findsATagByWhatItHasBecome()
    {
        HeldTags tags;
        addPoints(tags, 100);
        TagFile::Tag &early = tags.lend(10);
        for (int i = 0; i < 30; ++i)
            QCOMPARE(tags.find("point", "id", "99", 0), 99);
        TagFile::Tag &late = tags.lend(20); // when there is an index

        early.replace("id", "99");
        QCOMPARE(tags.find("point", "id", "99", 0), 10);
        QCOMPARE(tags.find("point", "id", "99", 11), 99);
        QCOMPARE(tags.find("point", "id", "10", 0), 100);
        late.name = "other";
        QCOMPARE(tags.find("point", "id", "20", 0), 100);
        QCOMPARE(tags.find("other", "id", "20", 0), 20);
    }

    void comparesAllTagsWhenManyAreLent()
    {
        HeldTags tags;
        addPoints(tags, 1000);
        for (int i = 0; i < 20; ++i)
            tags.find("point", "id", "999", 0);
        std::vector<TagFile::Tag *> lent;
        for (int i = 0; i < 1000; ++i)
            lent.push_back(&tags.lend(i));

        for (int i = 0; i < 1000; ++i)
            lent[std::size_t(i)]->replace("id", QString::number(999 - i));

        for (int i = 0; i < 1000; ++i)
            QCOMPARE(tags.find("point", "id", QString::number(i), 0), 999 - i);
    }

    void comparesFewTagsForMoreKeysThanItHasIndexesFor()
    {
        const int numTags = 200;
        const int numKeys = 20;
        const int numRounds = 3;
        const auto keyOf = [](int key) { return Data::String(QString("key%1").arg(key)); };
        HeldTags tags;
        for (int i = 0; i < numTags; ++i) {
            auto tag = tagOf("point", QString());
            for (int key = 0; key < numKeys; ++key)
                tag->add(keyOf(key), QString::number(i));
            tags.append(std::move(tag));
        }

        for (int i = 0; i < numRounds * numKeys; ++i) {
            for (int position = 0; position < numTags; ++position)
                QCOMPARE(tags.find("point", keyOf(i % numKeys), QString::number(position), 0),
                         position);
        }

        // As in the searches for one key, each time that its index is made again.
        QVERIFY(tags.numCompared() < numRounds * numKeys * 11 * numTags);
    }

    void searchesWithoutMemoryForAnIndex()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        HeldTags tags;
        addPoints(tags, 100);
        const Data::String name = "point";
        const Data::String key = "id";
        const Data::String value = "99";

        int numWrong = 0;
        {
            const FailingMemory noMemory(0, FailingMemory::FromThenOn);
            for (int i = 0; i < 100; ++i)
                numWrong += tags.find(name, key, value, 0) != 99;
        }
        QCOMPARE(numWrong, 0);
    }

    void findsLentTagsWithoutMemoryToNoteThem()
    {
        SKIP_ON_WINDOWS("the memory of a program on Windows does not fail");
        HeldTags tags;
        addPoints(tags, 100);
        for (int i = 0; i < 30; ++i)
            tags.find("point", "id", "99", 0);

        TagFile::Tag *lent = nullptr;
        {
            const FailingMemory noMemory(0, FailingMemory::FromThenOn);
            lent = &tags.lend(10);
        }
        lent->replace("id", "99");

        QCOMPARE(tags.find("point", "id", "99", 0), 10);
    }
};

QTEST_APPLESS_MAIN(tst_HeldTags)

#include "tst_HeldTags.moc"
