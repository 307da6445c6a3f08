#include "tests/workbench/TreeTest.h"

#include "examples/workbench/Preferences.h"
#include "utils/tagfile/TagFile.h"

using Utils::TagFile;

static const SettingsHome home;

static const QByteArray bolts = "*TYPE\n"
                                "name: bolts\n"
                                "version: 3\n"
                                "\n"
                                "*bolt\n"
                                "name: M16\n"
                                "preload: 100.5\n"
                                "tight: true\n" // which stays so
                                "uses: flanges; frames\n"
                                "curve:2\n"
                                "0 1\n"
                                "10 2\n"
                                "\n"
                                "*bolt\n"
                                "name: M20\n"
                                "preload: 160\n"
                                "length: 80\n";

static const int value = 1;
static const int kind = 2;

class tst_Workbench_tags : public QObject
{
    Q_OBJECT

private:
    static QByteArray manyTags(int count)
    {
        QByteArray text = "*TYPE\nname: many\nversion: 1\n";
        for (int i = 0; i < count; ++i) {
            const QByteArray number = QByteArray::number(i);
            text += "\n*point\nname: p" + number + "\nx: " + number + ".5\nuses: a; b\n";
        }
        return text;
    }

private Q_SLOTS:
    void init() { QSettings().clear(); }

    void tagFileShowsTagsWithTheirKeysAndValues()
    {
        TreeTest test;
        test.open(test.file("bolts.tag", bolts));

        QCOMPARE(test.names({}), QString("TYPE bolt bolt"));
        QCOMPARE(test.names({1}), QString("name preload tight uses curve"));
        QCOMPARE(test.text({1}, value), QString("M16")); // which the tag is known by
        QCOMPARE(test.text({1, 1}, value), QString("100.5"));
        QCOMPARE(test.text({1, 4}, value), QString::fromUtf8("0 1 \u2026 (2 lines)"));
        QStringList kinds;
        for (int row = 0; row < 5; ++row)
            kinds.append(test.text({1, row}, kind));
        QCOMPARE(kinds.join(", "), QString("text, number, yes or no, list, numbers"));
        QCOMPARE(test.label("heading"), QString::fromUtf8("bolts \u00b7 version 3"));
        QCOMPARE(test.document().description(), QString::fromUtf8("3 tags \u00b7 UTF-8"));
    }

    void tagFileIsChangedUndoneAndSaved()
    {
        TreeTest test;
        test.open(test.file("bolts.tag", bolts));
        test.change({1, 1}, value, "120");
        test.change({2}, 0, "screw");
        test.change({2, 2}, 0, "a:b");
        QCOMPARE(test.text({1, 1}, value), QString("120"));

        test.press(Qt::Key_Z, Qt::ControlModifier);
        test.press(Qt::Key_Z, Qt::ControlModifier);
        test.press(Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(test.text({1, 1}, value), QString("100.5"));
        QCOMPARE(test.names({}), QString("TYPE bolt bolt"));
        QVERIFY(!test.document().isChanged());

        for (int i = 0; i < 3; ++i)
            test.press(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
        test.press(Qt::Key_S, Qt::ControlModifier);
        QVERIFY(!test.document().isChanged());
        QCOMPARE(contentsOf(test.path("bolts.tag")),
                 QByteArray(bolts)
                     .replace("100.5", "120")
                     .replace("*bolt\nname: M20", "*screw\nname: M20")
                     .replace("length:", "a\\:b:"));
    }

    void tagFileRefusesWhatItCannotHoldWhileTyping_data()
    {
        QTest::addColumn<QList<int>>("path");
        QTest::addColumn<int>("column");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("reason");

        // clang-format off
        QTest::newRow("a number with letters") << QList<int>{1, 1} << value << "12o" << "\"12o\" is not a number. Shift+F2 changes the value as text.";
        QTest::newRow("neither yes nor no") << QList<int>{1, 2} << value << "perhaps" << "The value must be yes, no, true or false. Shift+F2 changes it as text.";
        QTest::newRow("an empty item of a list") << QList<int>{1, 3} << value << "flanges; " << "An item of the list is empty. Shift+F2 changes the value as text.";
        QTest::newRow("a column too few") << QList<int>{1, 4} << value << "0 1\n10" << "Line 2 has 1 numbers, but line 1 has 2. Shift+F2 changes the value as text.";
        QTest::newRow("no number in a line") << QList<int>{1, 4} << value << "0 1\n10 x" << "Line 2: \"x\" is not a number. Shift+F2 changes the value as text.";
        QTest::newRow("an escape in a value") << QList<int>{1, 0} << value << "a\\:b" << "The file cannot hold this text: it would be read back as \"a:b\".";
        QTest::newRow("an empty line first") << QList<int>{1, 0} << value << "\nb" << "The file cannot hold this text: it would be read back as \"b\".";
        QTest::newRow("a key like a tag") << QList<int>{1, 0} << 0 << "*name" << "A key cannot start with \"*\": the line would be no key.";
        QTest::newRow("a key like a comment") << QList<int>{1, 0} << 0 << "$name" << "A key cannot start with \"$\": the line would be no key.";
        QTest::newRow("a key that escapes its colon") << QList<int>{1, 0} << 0 << "name\\" << "The file cannot hold this text: it would not be read back.";
        QTest::newRow("a key without a name") << QList<int>{1, 0} << 0 << "" << "A name is needed.";
        QTest::newRow("a tag without a name") << QList<int>{1} << 0 << "" << "A name is needed.";
        QTest::newRow("a tag that is a comment") << QList<int>{1} << 0 << "$" << "The file cannot hold this text: it would not be read back.";
        // clang-format on
    }

    void tagFileRefusesWhatItCannotHoldWhileTyping()
    {
        QFETCH(QList<int>, path);
        QFETCH(int, column);
        QFETCH(QString, text);
        QFETCH(QString, reason);
        TreeTest test;
        test.open(test.file("bolts.tag", bolts));
        const QString before = test.text(path, column);
        test.click(path, column);
        QTest::keyClick(&test.tree(), Qt::Key_F2);
        QCOMPARE(test.reason(), QString());

        const QStringList lines = text.split('\n');
        test.type(lines.first());
        for (const QString &line : lines.mid(1)) {
            QTest::keyClick(test.editor(), Qt::Key_Return, Qt::ShiftModifier);
            QTest::keyClicks(test.editor(), line);
        }
        QCOMPARE(test.reason(), reason);
        QTest::keyClick(test.editor(), Qt::Key_Return);
        QVERIFY(test.editor()); // it stays open
        QCOMPARE(test.text(path, column), before);

        // The user is told when the editor is left and what was typed is dropped.
        QTest::mouseClick(test.tree().viewport(), Qt::LeftButton, {},
                          test.tree().visualRect(test.cell({0}, kind)).center());
        QTRY_VERIFY(!test.editor());
        QCOMPARE(test.text(path, column), before);
        QCOMPARE(test.label("state"), "Not changed. " + reason);
        QVERIFY(!test.document().isChanged());
    }

    void tagFileTakesAnyTextWhenAskedFor()
    {
        TreeTest test;
        test.open(test.file("bolts.tag", bolts));
        test.click({1, 1});

        test.key(Qt::Key_F2, Qt::ShiftModifier);
        test.type("about 100");
        QCOMPARE(test.reason(), QString());
        test.accept();

        QCOMPARE(test.text({1, 1}, value), QString("about 100"));
        QCOMPARE(test.text({1, 1}, kind), QString("text"));
        test.click({2, 1}, value); // the next one is checked again
        test.key(Qt::Key_Return);
        test.type("x");
        QVERIFY(!test.reason().isEmpty());
        QTest::keyClick(test.editor(), Qt::Key_Escape);
        QTRY_VERIFY(!test.editor());
        QCOMPARE(test.text({2, 1}, value), QString("160"));
    }

    void tagFileAsksForWhatIsBeingTyped()
    {
        TreeTest test;
        test.open(test.file("bolts.tag", bolts));
        test.click({2, 1}, value);
        test.key(Qt::Key_Return);
        test.type("170");
        QString question;
        test.onMessage(QMessageBox::Save, question);

        test.press(Qt::Key_W, Qt::ControlModifier); // closes the file

        QVERIFY2(question.contains("bolts.tag"), qPrintable(question));
        QCOMPARE(contentsOf(test.path("bolts.tag")), QByteArray(bolts).replace("160", "170"));
    }

    void tagFileHasValuesOfSeveralLines()
    {
        TreeTest test;
        test.open(test.file("bolts.tag", bolts));
        test.click({1, 4}, value);
        QTest::keyClick(&test.tree(), Qt::Key_F2);
        QCOMPARE(test.editor()->toPlainText(), QString("0 1\n10 2"));

        QTest::keyClick(test.editor(), Qt::Key_End, Qt::ControlModifier);
        QTest::keyClick(test.editor(), Qt::Key_Return, Qt::ShiftModifier);
        QTest::keyClicks(test.editor(), "20 3");
        test.accept();
        test.press(Qt::Key_S, Qt::ControlModifier);

        QVERIFY(contentsOf(test.path("bolts.tag")).contains("\ncurve:3\n0 1\n10 2\n20 3\n"));
    }

    void tagFileKeepsNoBreakSpacesOfAValue()
    {
        TreeTest test;
        test.open(test.file("a.tag", "*a\nforce: 5\xc2\xa0kN\n"));
        test.tree().expand(test.cell({0}));
        test.click({0, 0}, value);
        QTest::keyClick(&test.tree(), Qt::Key_F2);
        QTest::keyClick(test.editor(), Qt::Key_Home);
        QTest::keyClicks(test.editor(), "2");
        test.accept();

        test.press(Qt::Key_S, Qt::ControlModifier);

        QCOMPARE(contentsOf(test.path("a.tag")), QByteArray("*a\nforce: 25\xc2\xa0kN\n"));
    }

    void tagFileAddsRemovesDuplicatesAndMoves()
    {
        TreeTest test;
        test.open(test.file("bolts.tag", bolts));
        test.click({1});

        test.key(Qt::Key_Insert, Qt::ControlModifier); // a tag, after the current one
        test.type("nut");
        test.accept();
        QCOMPARE(test.names({}), QString("TYPE bolt nut bolt"));
        test.key(Qt::Key_Insert); // a key
        test.type("size");
        test.accept();
        test.key(Qt::Key_Return); // its value
        test.type("24");
        test.accept();
        QCOMPARE(test.names({2}), QString("size"));
        QCOMPARE(test.text({2, 0}, value), QString("24"));

        test.click({3});
        test.key(Qt::Key_D, Qt::ControlModifier);
        QCOMPARE(test.names({}), QString("TYPE bolt nut bolt bolt"));
        QCOMPARE(test.names({4}), QString("name preload length"));
        QCOMPARE(test.tree().currentIndex(), test.cell({4}));
        test.key(Qt::Key_Up, Qt::ControlModifier | Qt::ShiftModifier);
        test.key(Qt::Key_Up, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(test.names({}), QString("TYPE bolt bolt nut bolt"));
        QCOMPARE(test.tree().currentIndex(), test.cell({2}));
        QCOMPARE(test.names({3}), QString("size"));

        test.click({1, 4});
        test.key(Qt::Key_Delete);
        QCOMPARE(test.names({1}), QString("name preload tight uses"));
        test.click({1, 0});
        test.key(Qt::Key_Down, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(test.names({1}), QString("preload name tight uses"));
        test.press(Qt::Key_S, Qt::ControlModifier);
        TagFile saved(test.path("bolts.tag"));
        QCOMPARE(saved.numTags(), 5);
        QCOMPARE(saved.tag(2).get("name", 0), Data::String("M20"));
        QCOMPARE(saved.tag(3).get("size", 0), Data::String("24"));
        QCOMPARE(saved.tag(1).keys.join(' '), QString("preload name tight uses"));

        while (test.command("undo")->isEnabled())
            test.press(Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(test.names({}), QString("TYPE bolt bolt"));
        QCOMPARE(test.names({1}), QString("name preload tight uses curve"));
        test.press(Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(contentsOf(test.path("bolts.tag")), bolts);
    }

    void tagFileKeysWorkInTheTreeOnly()
    {
        TreeTest test;
        test.open(test.file("bolts.tag", bolts));
        test.click({1});
        test.find("M2");

        auto *const line = test.window().currentTab()->findChild<QLineEdit *>("findLine");
        QTest::keyClick(line, Qt::Key_Home);
        QTest::keyClick(line, Qt::Key_Delete);
        QTest::keyClick(line, Qt::Key_Insert);

        QCOMPARE(line->text(), QString("2"));
        QVERIFY(!test.document().isChanged());
    }

    void tagFileFindsNamesAndValues()
    {
        TreeTest test;
        test.open(test.file("bolts.tag", bolts));
        test.click({0});

        test.find("m20");
        QCOMPARE(test.tree().currentIndex(), test.cell({2, 0}, value));
        test.find("PRELOAD");
        QCOMPARE(test.tree().currentIndex(), test.cell({2, 1}));
        test.press(Qt::Key_F3);
        QCOMPARE(test.tree().currentIndex(), test.cell({1, 1})); // from the start again
        test.press(Qt::Key_F3, Qt::ShiftModifier);
        QCOMPARE(test.tree().currentIndex(), test.cell({2, 1}));
        test.find("nowhere");
        QCOMPARE(test.label("state"), QString("\"nowhere\" is not found."));
        QCOMPARE(test.tree().currentIndex(), test.cell({2, 1}));
    }

    void tagFileCopiesAsItIsWritten()
    {
        TreeTest test;
        test.open(test.file("bolts.tag", bolts));
        const auto copied = [&] {
            test.key(Qt::Key_C, Qt::ControlModifier);
            return QApplication::clipboard()->text();
        };

        test.click({2});
        QCOMPARE(copied(), QString("*bolt\nname: M20\npreload: 160\nlength: 80\n"));
        test.click({1, 4});
        QCOMPARE(copied(), QString("curve:2\n0 1\n10 2"));
        test.click({1, 4}, value);
        QCOMPARE(copied(), QString("0 1\n10 2"));
    }

    void tagFilePastesWhatItCopies()
    {
        TreeTest test;
        test.open(test.file("bolts.tag", bolts));
        const auto copy = [&](const QList<int> &path, int column) {
            test.click(path, column);
            test.key(Qt::Key_C, Qt::ControlModifier);
        };
        const auto paste = [&](const QList<int> &path, int column) {
            test.click(path, column);
            test.key(Qt::Key_V, Qt::ControlModifier);
        };
        copy({2}, 0); // a tag, after another one
        paste({0}, 0);
        QCOMPARE(test.names({}), QString("TYPE bolt bolt bolt"));
        QCOMPARE(test.names({1}), QString("name preload length"));
        QCOMPARE(test.tree().currentIndex(), test.cell({1}));
        copy({2, 4}, 0); // a key of several lines
        paste({1, 1}, 0);
        QCOMPARE(test.names({1}), QString("name preload curve length"));
        copy({2, 1}, value);
        paste({1, 1}, value);
        QCOMPARE(test.text({1, 1}, value), QString("100.5"));
        test.press(Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(contentsOf(test.path("bolts.tag")),
                 QByteArray(bolts).replace("3\n\n*bolt\n",
                                           "3\n\n*bolt\nname: M20\npreload: 100.5\ncurve:2\n0 1\n"
                                           "10 2\nlength: 80\n\n*bolt\n"));

        for (int i = 0; i < 3; ++i)
            test.press(Qt::Key_Z, Qt::ControlModifier);
        QVERIFY(test.document().isChanged());
        test.press(Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(contentsOf(test.path("bolts.tag")), bolts);
    }

    void tagFilePastesSeveralTagsAsOneChange()
    {
        TreeTest test;
        test.open(test.file("bolts.tag", bolts));
        QApplication::clipboard()->setText("*nut\r\nsize: 24\r\n\r\n*nut\r\nsize: 30\r\n");
        test.click({1, 2}, 0);

        test.key(Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(test.names({}), QString("TYPE bolt nut nut bolt"));
        QCOMPARE(test.text({3, 0}, value), QString("30"));

        test.press(Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(test.names({}), QString("TYPE bolt bolt"));
        QVERIFY(!test.document().isChanged());
    }

    void tagFileRefusesToPasteWhatItCannotHold_data()
    {
        QTest::addColumn<QString>("pasted");
        QTest::addColumn<int>("column");
        QTest::addColumn<QString>("reason");

        const QString nothing = "The clipboard has nothing that can be added here.";
        QTest::newRow("nothing") << "" << 0 << nothing;
        QTest::newRow("a word for a key") << "M20" << 0 << nothing;
        QTest::newRow("a text for a number")
            << "about 100" << value
            << "\"about 100\" is not a number. Shift+F2 changes the value as text.";
    }

    void tagFileRefusesToPasteWhatItCannotHold()
    {
        QFETCH(QString, pasted);
        QFETCH(int, column);
        QFETCH(QString, reason);
        TreeTest test;
        test.open(test.file("bolts.tag", bolts));
        test.click({1, 1}, column);
        QApplication::clipboard()->setText(pasted);
        test.key(Qt::Key_V, Qt::ControlModifier);

        QCOMPARE(test.label("state"), "Not changed. " + reason);
        QVERIFY(!test.document().isChanged());
        QCOMPARE(test.names({1}), QString("name preload tight uses curve"));
        QCOMPARE(test.text({1, 1}, value), QString("100.5"));
    }

    void tagFileAsksBeforeCommentsAreLost()
    {
        TreeTest test;
        test.open(test.sample("materials.tag"));
        const QByteArray before = contentsOf(test.path("materials.tag"));
        QCOMPARE(test.label("heading"), QString::fromUtf8("materials \u00b7 version 2"));
        test.change({2, 3}, value, "7.9e-06");
        QString question;

        test.onMessage(QMessageBox::Cancel, question);
        test.press(Qt::Key_S, Qt::ControlModifier);

        QCOMPARE(question, QString("10 lines of the file are lost, such as comments. The first one "
                                   "is \"$ Sample materials. Not for design.\"."));
        QCOMPARE(contentsOf(test.path("materials.tag")), before);
        QVERIFY(test.document().isChanged());
        test.onDialog([](QWidget *dialog) { TestWindow::pressButton(dialog, QMessageBox::Save); });
        test.press(Qt::Key_S, Qt::ControlModifier);
        QVERIFY(!test.document().isChanged());
        test.change({2, 3}, value, "7.8e-06"); // there is nothing more to lose
        test.press(Qt::Key_S, Qt::ControlModifier);
        QVERIFY(!test.document().isChanged());
        QVERIFY(contentsOf(test.path("materials.tag")).contains("density: 7.8e-06\n"));
    }

    void tagFileAsksBeforeALastTagWithoutKeysIsLost()
    {
        TreeTest test;
        test.open(test.file("bolts.tag", bolts));
        test.click({2});
        test.key(Qt::Key_Insert, Qt::ControlModifier);
        test.type("nut");
        test.accept();
        QString question;

        test.onMessage(QMessageBox::Cancel, question);
        test.press(Qt::Key_S, Qt::ControlModifier);

        QVERIFY2(question.startsWith("\"*nut\" is not read back"), qPrintable(question));
        QCOMPARE(contentsOf(test.path("bolts.tag")), bolts);
    }

    void tagFileIsReloadedAfterAnOutsideChange()
    {
        TreeTest test;
        test.open(test.file("bolts.tag", bolts));
        test.click({2, 1});
        test.changeOnDisk("bolts.tag", QByteArray(bolts).replace("160", "170"));
        QTRY_VERIFY(test.reloadButton());
        QCOMPARE(test.text({2, 1}, value), QString("160")); // nothing until the user wants it

        QTest::mouseClick(test.reloadButton(), Qt::LeftButton);

        QCOMPARE(test.text({2, 1}, value), QString("170"));
        QCOMPARE(test.tree().currentIndex(), test.cell({2, 1})); // where the user was
    }

    void tagFileKeepsItsContentsWhenTheFileShrinks()
    {
        TreeTest test;
        test.open(test.file("bolts.tag", bolts));
        test.file("bolts.tag", "*TY");
        test.click({2, 1});
        QCOMPARE(test.text({2, 1}, value), QString("160"));
        QFile::remove(test.path("bolts.tag"));
        QDir().mkdir(test.path("bolts.tag")); // which cannot be read
        QString message;
        test.onMessage(QMessageBox::Ok, message);

        test.press(Qt::Key_F5);

        QVERIFY2(message.contains("bolts.tag"), qPrintable(message));
        QCOMPARE(test.names({}), QString("TYPE bolt bolt"));
        QDir().rmdir(test.path("bolts.tag"));
        test.press(Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(contentsOf(test.path("bolts.tag")), bolts);
    }

    void tagFileTellsWhatIsWrongWithTheFile()
    {
        TreeTest test;
        test.open(test.file("empty.tag", "nothing here\n"));
        QCOMPARE(test.label("heading"), QString("There are no tags in this file."));
        test.open(test.file("latin.tag", "*TYPE\nname: bolts\nangle: 30\xb0\n"));
        QVERIFY2(test.label("heading").endsWith("Not in UTF-8: some characters cannot be read"),
                 qPrintable(test.label("heading")));
        QVERIFY(test.document().whatSavingLoses().contains("UTF-8"));
    }

    void tagFileOfAnotherNameIsKnownByItsForm()
    {
        TreeTest test;
        test.open(test.file("bolts.txt", bolts));
        QCOMPARE(test.names({}), QString("TYPE bolt bolt"));
        test.open(test.file("notes.txt", "*bolt\nname: M16\n"));
        QVERIFY(!test.view<Workbench::TreeView>()); // any text may be a table
    }

    void tagFileBeyondTheLimitIsRefusedWithItsSize()
    {
        Workbench::Preferences::memoryLimit.set(1);
        TreeTest test;
        QString message;
        test.onMessage(QMessageBox::Ok, message);
        const QString path = test.file("large.tag", manyTags(60000));

        test.open(path);

        QCOMPARE(message, '"' + path +
                              "\" has 2 megabytes. Such a file is held in memory, for "
                              "which the settings allow 1 megabytes.");
        QVERIFY(!test.window().currentTab());
    }

    void tagFileOfManyTagsOpensAndScrollsQuickly()
    {
        const int numTags = 200000;
        TreeTest test;
        const QString path = test.file("many.tag", manyTags(numTags));
        QElapsedTimer timer;
        timer.start();
        TagFile(path).findTag("none");
        const qint64 reading = timer.restart();

        test.window().openFiles({path});
        test.tree().viewport()->repaint();
        const qint64 opening = timer.elapsed();

        QCOMPARE(test.tree().model()->rowCount(), numTags + 1);
        const qint64 jump = test.longestJump();
        timer.restart();
        test.tree().expand(test.cell({numTags}));
        test.change({numTags, 1}, value, "3.25");
        test.click({1});
        test.key(Qt::Key_Delete);
        const qint64 changing = timer.restart();
        QCOMPARE(test.tree().model()->rowCount(), numTags);
        QCOMPARE(test.text({numTags - 1, 1}, value), QString("3.25"));
        test.find("p199999");
        const qint64 finding = timer.elapsed();
        QCOMPARE(test.tree().currentIndex(), test.cell({numTags - 1, 0}, value));

        qInfo("reading %lld, opening %lld, jump %lld, changes %lld, find %lld ms", reading, opening,
              jump, changing, finding);
        // A frame has 50 ms; ten times as much on a machine that does other things as well.
        QVERIFY2(jump < 500, qPrintable(QString::number(jump)));
        QVERIFY2(opening < 4 * reading + 2000, qPrintable(QString::number(opening)));
    }
};

QTEST_MAIN(tst_Workbench_tags)
#include "tst_Workbench_tags.moc"
