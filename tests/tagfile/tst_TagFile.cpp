#include "utils/tagfile/TagFile.h"

#include "tests/csv/FailingMemory.h"
#include "tests/support/Files.h"
#include "tests/support/Print.h"
#include "tests/support/Windows.h"
#include "tests/tagfile/Tags.h"

#include <QtTest>

#include <climits>
#include <type_traits>

using Utils::TagFile;
using Tag = TagFile::Tag;

/// Fills \p file with tags: name, key, value; a tag whose name is that of the one before it goes on
/// with that one.
static void fill(TagFile &file, const QStringList &parts)
{
    for (int i = 0; i + 2 < parts.size(); i += 3) {
        Tag &tag = file.addTag(parts[i], "");
        if (!parts[i + 1].isNull())
            tag.add(parts[i + 1], Data::String(parts[i + 2]));
    }
}

class tst_TagFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startsEmpty()
    {
        static_assert(!std::is_polymorphic_v<TagFile>);
        static_assert(!std::is_copy_constructible_v<TagFile>);
        static_assert(!std::is_copy_assignable_v<TagFile>);
        TagFile file;

        QCOMPARE(file.numTags(), 0);
        QCOMPARE(file.filename(), Data::String());
        QCOMPARE(file.options(), 7);
        QCOMPARE(file.fileType(), Data::String());
        QCOMPARE(file.fileVersion(), Data::String());
        QCOMPARE(file.toString(), Data::String());
    }

    void readsTheFileThatItIsMadeFor()
    {
        const QTemporaryDir folder;
        const QString path = makeFile(folder.filePath("a"), "*a\nx: 1\n");

        const TagFile file(path);

        QCOMPARE(file.filename(), Data::String(path));
        QCOMPARE(describe(file), QStringList("1 a: x=1"));
    }

    void keepsThePathOfAFileThatItCannotRead()
    {
        TagFile file("/nowhere/at/all");

        QCOMPARE(file.filename(), Data::String("/nowhere/at/all"));
        QCOMPARE(file.numTags(), 0);
        QCOMPARE(file.errorMessage(false), Data::String());
    }

    void isNamedByTheConstructorOnly()
    {
        const QTemporaryDir folder;
        const QString path = makeFile(folder.filePath("a"), "*a\n");
        Data::String error;
        TagFile unnamed;
        TagFile named("");

        QVERIFY(unnamed.read(path, error));
        QVERIFY(unnamed.save(folder.filePath("b"), error));
        QVERIFY(named.open(folder.filePath("c"), error));
        named.close();

        QCOMPARE(unnamed.filename(), Data::String());
        QCOMPARE(named.filename(), Data::String());
    }

    // Options

    void setsAndClearsOptionBits()
    {
        TagFile file;

        file.setOption(1, false);
        QCOMPARE(file.options(), 6);
        file.setOption(8 | 16, true);
        QCOMPARE(file.options(), 30);
        file.setOption(8, true);
        QCOMPARE(file.options(), 30);
        file.setOption(2 | 32, false);
        QCOMPARE(file.options(), 28);
        file.setOption(TagFile::DropNone, true);
        QCOMPARE(file.options(), 60);
        file.setOption(0, true);
        QCOMPARE(file.options(), 60);
        file.setOption(-1, true);
        QCOMPARE(file.options(), -1);
        file.setOption(-1, false);
        QCOMPARE(file.options(), 0);
    }

    // Adding and removing tags

    void addsTagsAtTheEnd()
    {
        TagFile file;

        Tag &first = file.addTag("a", "comment of a");
        file.addTag("b", "").add("x", 1);

        QCOMPARE(describe(file), QStringList({"-1 a: ", "-1 b: x=1"}));
        QCOMPARE(&first, &file.mtag(0));
        QCOMPARE(first.comment, Data::String("comment of a"));
        QCOMPARE(file.tag(1).comment, Data::String());
    }

    void addsATagWithoutAName()
    {
        TagFile file;

        file.addTag("", "");

        QCOMPARE(file.numTags(), 1);
        QVERIFY(!file.tag(0).isValid());
    }

    void addsACopyOfAValidTag()
    {
        TagFile file;
        Tag tag("a");
        tag.line = 5;
        tag.comment = "c";
        tag.add("x", 1);

        file.addTag(tag);
        tag.add("y", 2);
        file.addTag(Tag(Data::String()));

        QCOMPARE(describe(file), QStringList("5 a: x=1"));
        QCOMPARE(file.tag(0).comment, Data::String("c"));
    }

    void addsACopyOfItsOwnTag()
    {
        TagFile file;
        file.addTag("a", "").add("x", 1);

        for (int i = 0; i < 100; ++i)
            file.addTag(file.tag(0));

        QCOMPARE(file.numTags(), 101);
        QCOMPARE(describe(file.tag(100)), QString("-1 a: x=1"));
    }

    void addsCommentsAsTags()
    {
        TagFile file;

        file.addComment("note");

        QCOMPARE(file.numTags(), 1);
        QCOMPARE(file.tag(0).name, Data::String("$"));
        QCOMPARE(file.tag(0).comment, Data::String("note"));
        QCOMPARE(file.tag(0).numProps(), 0);
    }

    void addsTheFileTypeInFront()
    {
        TagFile file;
        file.addTag("a", "");

        Tag &tag = file.addFileType("curve", "2", "by hand");

        QCOMPARE(describe(file), QStringList({"-1 TYPE: name=curve|version=2", "-1 a: "}));
        QCOMPARE(&tag, &file.tag(0));
        QCOMPARE(tag.comment, Data::String("by hand"));
        QCOMPARE(file.fileType(), Data::String("curve"));
        QCOMPARE(file.fileVersion(), Data::String("2"));
    }

    void addsTheFileTypeEachTime()
    {
        TagFile file;

        file.addFileType("old", "1", "");
        file.addFileType("new", "", "");

        QCOMPARE(describe(file),
                 QStringList({"-1 TYPE: name=new|version=", "-1 TYPE: name=old|version=1"}));
        QCOMPARE(file.fileType(), Data::String("new"));
        QCOMPARE(file.fileVersion(), Data::String());
    }

    void knowsTheFileTypeOfTheFirstTagOnly()
    {
        TagFile file;
        fill(file, {"a", "name", "x", "TYPE", "name", "y"});

        QCOMPARE(file.fileType(), Data::String());
        QCOMPARE(file.fileVersion(), Data::String());
        file.removeTag(0);
        QCOMPARE(file.fileType(), Data::String("y"));
        QCOMPARE(file.fileVersion(), Data::String());
        file.mtag(0).name = "type";
        QCOMPARE(file.fileType(), Data::String());
    }

    void keepsReferencesWhenTagsComeAndGo()
    {
        TagFile file;
        Tag &tag = file.addTag("keep", "");
        Tag &type = file.addFileType("t", "1", "");

        for (int i = 0; i < 1000; ++i) {
            file.addTag("x", "");
            file.addFileType("t", "1", "");
        }
        file.removeTag(0);
        tag.add("k", "v");
        type.add("k", "v");

        QCOMPARE(describe(file.findTag("keep")), QString("-1 keep: k=v"));
        QCOMPARE(&file.tag(999), &type);
        QCOMPARE(type.numProps(), 3);
    }

    void removesTags()
    {
        TagFile file;
        fill(file, {"a", "k", "1", "b", "k", "2", "c", "k", "3"});

        for (const int index : {-1, 3, INT_MIN, INT_MAX})
            QVERIFY(!file.removeTag(index));
        QCOMPARE(file.numTags(), 3);
        QVERIFY(file.removeTag(1));
        QCOMPARE(describe(file), QStringList({"-1 a: k=1", "-1 c: k=3"}));
        QVERIFY(file.removeTag(1));
        QVERIFY(file.removeTag(0));
        QVERIFY(!file.removeTag(0));
        QCOMPARE(file.numTags(), 0);
    }

    void clearsTagsAlone()
    {
        TagFile file("/nowhere/at/all");
        file.addTag("a", "");
        file.setOption(8, true);
        file.setMeta("m", 1);

        file.clear();

        QCOMPARE(file.numTags(), 0);
        QCOMPARE(file.filename(), Data::String("/nowhere/at/all"));
        QCOMPARE(file.options(), 15);
        QCOMPARE(file.getMeta("m"), QVariant(1));
    }

    // Looking tags up

    void givesAnInvalidTagForAnIndexOutside()
    {
        TagFile file;
        file.addTag("a", "");

        for (const int index : {-1, 1, 2, INT_MIN, INT_MAX}) {
            QVERIFY(!file.tag(index).isValid());
            QCOMPARE(file.tag(index).line, -1);
            QCOMPARE(file.tag(index).numProps(), 0);
            QVERIFY(!file.mtag(index).isValid());
        }
        QVERIFY(file.tag(0).isValid());
        QCOMPARE(&file.mtag(0), &file.tag(0));
    }

    void sharesThreeInvalidTags()
    {
        TagFile one;
        TagFile other;

        QCOMPARE(&one.tag(0), &other.tag(-1));
        QCOMPARE(&one.mtag(0), &other.mtag(-1));
        QCOMPARE(&one.findTag("x"), &other.findTag("y"));
        QCOMPARE(&one.findTag("x"), &other.findTag("y", "k", "v"));
        QVERIFY(&one.tag(0) != &one.mtag(0));
        QVERIFY(&one.tag(0) != &one.findTag("x"));
        QVERIFY(&one.mtag(0) != &one.findTag("x"));
    }

    void keepsWhatIsChangedInTheTagOfAMiss()
    {
        TagFile file;
        Tag &missed = file.mtag(0);

        missed.add("k", "v");

        QCOMPARE(TagFile().mtag(7).get("k", 0), Data::String("v"));
        QCOMPARE(file.tag(0).numProps(), 0);
        QCOMPARE(file.findTag("x").numProps(), 0);
        missed.remove("k");
    }

    void findsTheNextTagOfAName()
    {
        TagFile file;
        fill(file, {"a", "k", "1", "b", "k", "2", "a", "k", "3"});
        int index = 0;

        QCOMPARE(file.tag("a", index), &file.tag(0));
        QCOMPARE(index, 0);
        ++index;
        QCOMPARE(file.tag("a", index), &file.tag(2));
        QCOMPARE(index, 2);
        index = 1;
        QCOMPARE(file.tag("b", index), &file.tag(1));
        QCOMPARE(index, 1);
        index = 2;
        QVERIFY(!file.tag("b", index));
        QCOMPARE(index, -1);
        index = 0;
        QVERIFY(!file.tag("A", index));
        QCOMPARE(index, -1);
    }

    void leavesAnIndexOutsideAlone()
    {
        TagFile file;
        file.addTag("a", "");

        for (const int outside : {-1, 1, INT_MIN, INT_MAX}) {
            int index = outside;
            QVERIFY(!file.tag("a", index));
            QCOMPARE(index, outside);
        }
    }

    void findsTheFirstTagOfAName()
    {
        TagFile file;
        fill(file, {"a", "k", "1", "b", "k", "2", "b", "k", "3"});

        QCOMPARE(&file.findTag("b"), &file.tag(1));
        QVERIFY(!file.findTag("B").isValid());
        QVERIFY(!file.findTag("").isValid());
        QVERIFY(!TagFile().findTag("a").isValid());
    }

    void findsATagByAValue_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("value");
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("found");

        const auto row = [](const char *title, const char *name, const char *key, const char *value,
                            int from, int found) {
            QTest::newRow(title) << QString(name) << QString(key) << QString(value) << from
                                 << found;
        };
        // The tags: 0 a k=1, 1 b k=1, 2 a k=2, 3 a l=3, 4 a k=2
        // clang-format off
        row("by value",                          "a", "k", "2", 0,       2);
        row("the next one",                      "a", "k", "2", 3,       4);
        row("from the place itself",             "a", "k", "2", 4,       4);
        row("none after it",                     "a", "k", "2", 5,       -1);
        row("far after",                         "a", "k", "2", INT_MAX, -1);
        row("from before all",                   "a", "k", "2", -1,      2);
        row("from far before",                   "a", "k", "2", INT_MIN, 2);
        row("of another name",                   "b", "k", "1", 0,       1);
        row("no such value",                     "a", "k", "3", 0,       -1);
        row("no such key",                       "a", "m", "3", 0,       -1);
        row("no such name",                      "c", "k", "1", 0,       -1);
        row("case of the value counts",          "a", "k", "X", 0,       -1);
        row("an empty key takes all",            "a", "",  "9", 1,       2);
        row("an empty value takes all",          "a", "k", "",  1,       2);
        row("an empty value, with no such key",  "a", "k", "",  3,       3);
        row("all empty",                         "a", "",  "",  0,       0);
        row("all empty, no such name",           "x", "",  "",  0,       -1);
        // clang-format on
    }

    void findsATagByAValue()
    {
        QFETCH(QString, name);
        QFETCH(QString, key);
        QFETCH(QString, value);
        QFETCH(int, from);
        QFETCH(int, found);
        TagFile file;
        fill(file, {"a", "k", "1", "b", "k", "1", "a", "k", "2", "a", "l", "3", "a", "k", "2"});
        int index = from;

        const Tag &tag = file.findTag(name, key, value, &index);

        QCOMPARE(index, found);
        QCOMPARE(&tag, found < 0 ? &file.findTag("no such name") : &file.tag(found));
        QCOMPARE(tag.isValid(), found >= 0);
    }

    void findsATagByAValueWithoutAnIndex()
    {
        TagFile file;
        fill(file, {"a", "k", "1", "a", "k", "2"});

        QCOMPARE(&file.findTag("a", "k", "2"), &file.tag(1));
        QCOMPARE(&file.findTag("a", "k", ""), &file.tag(0));
        QVERIFY(!file.findTag("x", "", "").isValid());
    }

    void comparesTheFirstValueOfAKeyOnly()
    {
        TagFile file;
        file.addTag("a", "").add("k", "1").add("k", "2");

        QVERIFY(file.findTag("a", "k", "1").isValid());
        QVERIFY(!file.findTag("a", "k", "2").isValid());
    }

    void walksAllMatches()
    {
        TagFile file;
        fill(file, {"a", "k", "1", "a", "k", "2", "b", "k", "1", "a", "k", "1"});
        QList<int> places;

        for (int index = 0; file.findTag("a", "k", "1", &index).isValid(); ++index)
            places.append(index);

        QCOMPARE(places, QList<int>({0, 3}));
    }

    // Meta values

    void keepsMetaValues()
    {
        TagFile file;

        file.setMeta("a", 1);
        file.setMeta("b", "text");
        file.setMeta("a", 2.5);

        QCOMPARE(file.getMeta("a"), QVariant(2.5));
        QCOMPARE(file.getMeta("b"), QVariant("text"));
        QVERIFY(!file.getMeta("A").isValid());
    }

    void removesAMetaValueByAnInvalidOne()
    {
        TagFile file;
        file.setMeta("a", 1);

        file.setMeta("a", Data::Variant());
        file.setMeta("b", Data::Variant());

        QVERIFY(!file.getMeta("a").isValid());
        QVERIFY(!file.getMeta("b").isValid());
    }

    void mergesMetaValues()
    {
        TagFile file;
        file.setMeta("a", 1);
        file.setMeta("b", 2);
        file.setMeta("c", 3);

        file.setMeta(Data::VariantCollection{{"b", "new"}, {"c", Data::Variant()}, {"d", 4}});

        QCOMPARE(file.getMeta("a"), QVariant(1));
        QCOMPARE(file.getMeta("b"), QVariant("new"));
        QVERIFY(!file.getMeta("c").isValid());
        QCOMPARE(file.getMeta("d"), QVariant(4));
    }

    void writesNoMetaValues()
    {
        TagFile file;
        file.setMeta("a", 1);
        file.addErrorMessage("message");

        QCOMPARE(file.toString(), Data::String());
    }

    void collectsMessages()
    {
        TagFile file;

        QCOMPARE(file.errorMessage(false), Data::String());
        file.addErrorMessage("first");
        QCOMPARE(file.errorMessage(false), Data::String("first"));
        file.addErrorMessage("second");
        file.addErrorMessage("");
        QCOMPARE(file.errorMessage(false), Data::String("first\nsecond\n"));
        QCOMPARE(file.getMeta("_errmsg"), QVariant("first\nsecond\n"));
        QCOMPARE(file.errorMessage(true), Data::String("first\nsecond\n"));
        QVERIFY(!file.getMeta("_errmsg").isValid());
        QCOMPARE(file.errorMessage(true), Data::String());
    }

    void doesNotCopyItsMessagesForEachOne()
    {
        SKIP_ON_WINDOWS("the allocations of a program on Windows are not counted");
        TagFile file;
        const Data::String message = "a message of the application";

        const AllocatedMemory used;
        for (int i = 0; i < 2000; ++i)
            file.addErrorMessage(message);
        const auto bytes = used.bytes();

        const qint64 size = file.errorMessage(false).size() * qint64(sizeof(QChar));
        QVERIFY(size > 100 * 1000);
        QVERIFY(bytes >= size);
        QVERIFY2(bytes < 8 * size, QByteArray::number(qint64(bytes)));
    }

    void addsNoLineFeedBehindAnEmptyMessage()
    {
        TagFile file;

        file.addErrorMessage("");
        file.addErrorMessage("first");

        QCOMPARE(file.errorMessage(false), Data::String("first"));
    }

    void putsNoMessagesOfItsOwnThere()
    {
        TagFile file;
        Data::String error;

        file.read("/nowhere/at/all", error);
        file.save("/nowhere/at/all", error);

        QVERIFY(!error.isEmpty());
        QCOMPARE(file.errorMessage(false), Data::String());
    }
};

QTEST_GUILESS_MAIN(tst_TagFile)
#include "tst_TagFile.moc"
