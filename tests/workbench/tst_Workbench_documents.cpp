#include "tests/workbench/TreeTest.h"

#include "examples/workbench/Preferences.h"
#include "examples/workbench/xml/XmlDocument.h"
#include "utils/xml/Document.h"

static const SettingsHome home;

// The layout of the library.
static const QByteArray frame = "<!DOCTYPE Frame>\n"
                                "<frame name=\"portal\" length=\"m\" version=\"2.1\">\n"
                                "  <!-- a frame -->\n"
                                "  <node name=\"A\" x=\"0\" y=\"0\"/>\n"
                                "  <node name=\"B\" x=\"0\" y=\"5.5\"/>\n"
                                "  <bar name=\"b1\" type=\"column\" from=\"A\" to=\"B\"/>\n"
                                "  <note>Snow is missing.</note>\n"
                                "</frame>\n"
                                "\n";

static const int value = 1;
static const int kind = 2;

class tst_Workbench_documents : public QObject
{
    Q_OBJECT

private:
    static QByteArray manyElements(int count)
    {
        QByteArray text = "<points version=\"1.0\">\n";
        for (int i = 0; i < count; ++i) {
            const QByteArray number = QByteArray::number(i);
            text += "  <point name=\"p" + number + "\" x=\"" + number + ".5\"/>\n";
        }
        return text + "</points>\n";
    }

    static QByteArray nested(int depth)
    {
        return QByteArray("<a>").repeated(depth) + QByteArray("</a>").repeated(depth);
    }

private Q_SLOTS:
    void init() { QSettings().clear(); }

    void documentShowsElementsWithAttributesInTheOrderOfTheLibrary()
    {
        TreeTest test;
        test.open(test.sample("frame.xml"));

        QCOMPARE(test.names({}), QString("frame"));
        QCOMPARE(test.names({0}).left(46),
                 QString("name force length version (comment) node node "));
        QCOMPARE(test.names({0, 5}), QString("name support x y")); // in the file: y x name support
        QCOMPARE(test.text({0, 5}, value), QString("A"));
        QCOMPARE(test.text({0, 5, 2}, kind), QString("attribute, number"));
        QCOMPARE(test.names({0, 12}), QString("name type from material section to"));
        const int note = test.tree().model()->rowCount(test.cell({0})) - 1;
        QCOMPARE(test.text({0, note}), QString("note"));
        QCOMPARE(test.text({0, note}, value).left(29),
                 QString("Snow of a zone of 0.85 kN/m\u00b2 "));
        QCOMPARE(test.label("heading"), QString::fromUtf8("Frame \u00b7 version 2.1"));
        QCOMPARE(test.document().description(), QString::fromUtf8("<frame> \u00b7 UTF-8"));
    }

    void documentTellsAnOlderOrANewerVersion_data()
    {
        QTest::addColumn<QByteArray>("version");
        QTest::addColumn<QString>("heading");

        // clang-format off
        QTest::newRow("older") << QByteArray(" version=\"1.9 beta\"") << QString::fromUtf8("Frame \u00b7 version 1.9 \u00b7 older than version 2.1, which is usual");
        QTest::newRow("newer") << QByteArray(" version=\"3.2.1\"") << QString::fromUtf8("Frame \u00b7 version 3.21 \u00b7 newer than version 2.1, which is usual");
        QTest::newRow("none") << QByteArray() << QString::fromUtf8("Frame \u00b7 without a version");
        // clang-format on
    }

    void documentTellsAnOlderOrANewerVersion()
    {
        QFETCH(QByteArray, version);
        QFETCH(QString, heading);
        TreeTest test;

        test.open(test.file("a.xml", "<!DOCTYPE Frame>\n<frame" + version + "/>"));

        QCOMPARE(test.label("heading"), heading);
    }

    void documentTellsTheVersionThatIsTyped()
    {
        TreeTest test;
        test.open(test.file("frame.xml", frame));
        QCOMPARE(test.names({0}), QString("name length version (comment) node node bar note"));

        test.change({0, 2}, value, "2.2");

        QCOMPARE(test.label("heading"),
                 QString::fromUtf8(
                     "Frame \u00b7 version 2.2 \u00b7 newer than version 2.1, which is usual"));
    }

    void documentIsChangedUndoneAndSaved()
    {
        TreeTest test;
        test.open(test.file("frame.xml", frame));
        test.change({0, 4, 1}, value, "1.5");
        test.change({0, 7}, value, "No snow & <rain>.");
        test.change({0, 6}, 0, "beam");
        test.change({0, 3}, value, " a portal ");
        test.press(Qt::Key_S, Qt::ControlModifier);
        const QByteArray changed = QByteArray(frame)
                                       .replace("x=\"0\" y=\"0\"", "x=\"1.5\" y=\"0\"")
                                       .replace("Snow is missing.", "No snow &amp; &lt;rain>.")
                                       .replace("<bar", "<beam")
                                       .replace("a frame", "a portal");
        QCOMPARE(contentsOf(test.path("frame.xml")), changed);

        for (int i = 0; i < 4; ++i)
            test.press(Qt::Key_Z, Qt::ControlModifier);
        test.press(Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(contentsOf(test.path("frame.xml")), frame);

        for (int i = 0; i < 4; ++i)
            test.press(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
        test.press(Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(contentsOf(test.path("frame.xml")), changed);
    }

    void documentPutsANewNameInItsPlace()
    {
        TreeTest test;
        test.open(test.file("frame.xml", frame));
        test.change({0, 6, 2}, 0, "zone"); // from

        QCOMPARE(test.names({0, 6}), QString("name type to zone"));
        QCOMPARE(test.tree().currentIndex(), test.cell({0, 6, 3}));
        QCOMPARE(test.text({0, 6, 3}, value), QString("A"));
        QCOMPARE(test.window().focusWidget(), &test.tree());
        test.press(Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(test.names({0, 6}), QString("name type from to"));
        test.press(Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(contentsOf(test.path("frame.xml")), frame);
    }

    void documentRefusesWhatItCannotHoldWhileTyping_data()
    {
        QTest::addColumn<QList<int>>("path");
        QTest::addColumn<int>("column");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("reason");

        // clang-format off
        QTest::newRow("a number with letters") << QList<int>{0, 4, 1} << value << "1o" << "\"1o\" is not a number. Shift+F2 changes the value as text.";
        QTest::newRow("an element with a blank") << QList<int>{0, 4} << 0 << "a b" << "The file cannot hold this text: it would not be read back.";
        QTest::newRow("an element that starts with a digit") << QList<int>{0, 4} << 0 << "2nd" << "The file cannot hold this text: it would not be read back.";
        QTest::newRow("an attribute with a sign") << QList<int>{0, 4, 1} << 0 << "a=" << "The file cannot hold this text: it would not be read back.";
        QTest::newRow("two attributes of a name") << QList<int>{0, 4, 1} << 0 << "y" << "The element has an attribute \"y\" already.";
        QTest::newRow("no name") << QList<int>{0, 4, 1} << 0 << "" << "A name is needed.";
        QTest::newRow("a text of blanks") << QList<int>{0, 7} << value << "  " << "The file cannot hold this text: it would not be read back.";
        QTest::newRow("a comment that ends itself") << QList<int>{0, 3} << value << "a --" << "The file cannot hold this text: it would not be read back.";
        QTest::newRow("a comment that is an empty line") << QList<int>{0, 3} << value << "*" << "The file cannot hold this text: it would not be read back.";
        // clang-format on
    }

    void documentRefusesWhatItCannotHoldWhileTyping()
    {
        QFETCH(QList<int>, path);
        QFETCH(int, column);
        QFETCH(QString, text);
        QFETCH(QString, reason);
        TreeTest test;
        test.open(test.file("frame.xml", frame));
        const QString before = test.text(path, column);
        test.click(path, column);
        QTest::keyClick(&test.tree(), Qt::Key_F2);

        test.type(text);

        QCOMPARE(test.reason(), reason);
        QTest::keyClick(test.editor(), Qt::Key_Return);
        QVERIFY(test.editor());
        QTest::keyClick(test.editor(), Qt::Key_Escape);
        QTRY_VERIFY(!test.editor());
        QCOMPARE(test.text(path, column), before);
        QVERIFY(!test.document().isChanged());
    }

    void documentAddsRemovesDuplicatesAndMoves()
    {
        TreeTest test;
        test.open(test.file("frame.xml", frame));
        test.click({0, 5});
        test.key(Qt::Key_D, Qt::ControlModifier);
        QCOMPARE(test.names({0}), QString("name length version (comment) node node node bar note"));
        test.key(Qt::Key_Insert); // an attribute
        test.type("fixed");
        test.accept();
        QCOMPARE(test.names({0, 6}), QString("name fixed x y"));
        test.key(Qt::Key_Return);
        test.type("yes");
        test.accept();

        test.click({0, 6});
        test.key(Qt::Key_Insert, Qt::ControlModifier); // an element, in the current one
        test.type("spring");
        test.accept();
        QCOMPARE(test.names({0, 6}), QString("name fixed x y spring"));
        test.key(Qt::Key_Return);
        test.type("12.5");
        test.accept();
        test.click({0, 8}); // a text has no elements, so beside it
        test.key(Qt::Key_Insert, Qt::ControlModifier);
        test.accept();
        QCOMPARE(test.names({0}),
                 QString("name length version (comment) node node node bar note new"));
        test.key(Qt::Key_Delete);

        test.click({0, 7});
        test.key(Qt::Key_Up, Qt::ControlModifier | Qt::ShiftModifier);
        test.key(Qt::Key_Up, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(test.names({0}), QString("name length version (comment) node bar node node note"));
        QCOMPARE(test.tree().currentIndex(), test.cell({0, 5}));
        test.click({0, 4});
        test.key(Qt::Key_Delete);
        test.click({0, 0});
        QVERIFY(!test.command("moveDown")->isEnabled()); // the order of attributes is fixed
        test.key(Qt::Key_Delete);
        test.press(Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(contentsOf(test.path("frame.xml")),
                 QByteArray("<!DOCTYPE Frame>\n"
                            "<frame length=\"m\" version=\"2.1\">\n"
                            "  <!-- a frame -->\n"
                            "  <bar name=\"b1\" type=\"column\" from=\"A\" to=\"B\"/>\n"
                            "  <node name=\"B\" x=\"0\" y=\"5.5\"/>\n"
                            "  <node name=\"B\" fixed=\"yes\" x=\"0\" y=\"5.5\">\n"
                            "    <spring>12.5</spring>\n"
                            "  </node>\n"
                            "  <note>Snow is missing.</note>\n"
                            "</frame>\n"
                            "\n"));

        test.click({0});
        QVERIFY(!test.command("remove")->isEnabled()); // a document has a root
        while (test.command("undo")->isEnabled())
            test.press(Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(test.names({0}), QString("name length version (comment) node node bar note"));
        test.press(Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(contentsOf(test.path("frame.xml")), frame);
    }

    void documentWritesAttributesInTheOrderOfTheLibrary()
    {
        TreeTest test;
        test.open(test.file("a.xml", "<a z=\"1\" B=\"2\" type=\"t\" name=\"n\"><b/></a>"));
        QCOMPARE(test.names({0}), QString("name type B z b"));
        test.change({0, 2}, 0, "a");
        QCOMPARE(test.names({0}), QString("name type a z b"));

        test.press(Qt::Key_S, Qt::ControlModifier);

        QCOMPARE(contentsOf(test.path("a.xml")),
                 QByteArray("<a name=\"n\" type=\"t\" a=\"2\" z=\"1\">\n  <b/>\n</a>\n\n"));
    }

    void documentFindsAndCopies()
    {
        TreeTest test;
        test.open(test.file("frame.xml", frame));
        test.click({0});
        test.find("snow");
        QCOMPARE(test.tree().currentIndex(), test.cell({0, 7}, value));
        test.find("from");
        QCOMPARE(test.tree().currentIndex(), test.cell({0, 6, 2}));

        test.click({0, 5});
        test.key(Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QApplication::clipboard()->text(),
                 QString("<node name=\"B\" x=\"0\" y=\"5.5\"/>"));
    }

    void documentPastesWhatItCopies()
    {
        TreeTest test;
        test.open(test.file("frame.xml", frame));
        test.click({0, 5});
        test.key(Qt::Key_C, Qt::ControlModifier);
        test.click({0, 6});
        test.key(Qt::Key_V, Qt::ControlModifier); // an element, after another one
        QCOMPARE(test.names({0}), QString("name length version (comment) node node bar node note"));
        QCOMPARE(test.tree().currentIndex(), test.cell({0, 7}));

        test.tree().expand(test.cell({0, 6}));
        test.click({0, 6, 2});
        test.key(Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QApplication::clipboard()->text(), QString("from=\"A\""));
        test.click({0, 7});
        test.key(Qt::Key_V, Qt::ControlModifier); // an attribute
        QCOMPARE(test.names({0, 7}), QString("name from x y"));
        test.press(Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(contentsOf(test.path("frame.xml")),
                 QByteArray(frame).replace(
                     "  <note>", "  <node name=\"B\" from=\"A\" x=\"0\" y=\"5.5\"/>\n  <note>"));

        test.press(Qt::Key_Z, Qt::ControlModifier);
        test.press(Qt::Key_Z, Qt::ControlModifier);
        test.press(Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(contentsOf(test.path("frame.xml")), frame);
    }

    void documentRefusesToPasteWhatItCannotHold_data()
    {
        QTest::addColumn<QString>("pasted");
        QTest::addColumn<QList<int>>("path");
        QTest::addColumn<QString>("reason");

        const QString nothing = "The clipboard has nothing that can be added here.";
        QTest::newRow("a text") << "B" << QList<int>{0, 4} << nothing;
        QTest::newRow("an element that is not closed") << "<node>" << QList<int>{0, 4} << nothing;
        QTest::newRow("an attribute that is there already")
            << "z=\"1\" x=\"2\"" << QList<int>{0, 4}
            << "The element has an attribute \"x\" already.";
        QTest::newRow("elements that end the parser")
            << QString::fromLatin1(nested(60000)) << QList<int>{0, 4} << nothing;
        QTest::newRow("the same after an attribute")
            << "z=\"1\">" + QString::fromLatin1(nested(60000)) + "<a" << QList<int>{0, 4}
            << nothing;
        QTest::newRow("elements that could not be saved")
            << QString::fromLatin1(nested(5000)) << QList<int>{0, 4}
            << "The elements would be nested too deeply to be saved.";
    }

    void documentRefusesToPasteWhatItCannotHold()
    {
        QFETCH(QString, pasted);
        QFETCH(QList<int>, path);
        QFETCH(QString, reason);
        TreeTest test;
        test.open(test.file("frame.xml", frame));
        test.click(path);
        QApplication::clipboard()->setText(pasted);
        test.key(Qt::Key_V, Qt::ControlModifier);

        QCOMPARE(test.label("state"), "Not changed. " + reason);
        QVERIFY(!test.document().isChanged());
        QCOMPARE(test.names(path), QString("name x y"));
    }

    /// Pasted again and again, elements do not become deeper than can be saved.
    void documentPastesAsDeepAsItCanBeSaved()
    {
        QTemporaryDir folder;
        const int depth = 4990; // of 5000 that the library writes
        Workbench::XmlDocument document(makeFile(folder.filePath("deep.xml"), nested(depth)));
        QVERIFY(document.read());
        int node = Workbench::XmlDocument::root;
        for (int i = 0; i < depth; ++i)
            node = document.child(node, 0);
        QString problem;

        // Beside the innermost one.
        QCOMPARE(document.paste(node, "<b/>" + nested(12), problem), Workbench::XmlDocument::root);
        QCOMPARE(problem, QString("The elements would be nested too deeply to be saved."));
        QVERIFY(!document.isChanged());
        problem.clear();
        QVERIFY(document.paste(node, "<b/>" + nested(11), problem) != Workbench::XmlDocument::root);
        QCOMPARE(problem, QString());
        QVERIFY(!document.document().toText().isEmpty());
    }

    void documentRefusesANameThatEndsTheParser()
    {
        QTemporaryDir folder;
        Workbench::XmlDocument document(makeFile(folder.filePath("a.xml"), "<a><!--b--></a>"));
        QVERIFY(document.read());
        const int element = document.child(Workbench::XmlDocument::root, 0);
        const QString deep = QString("<b>").repeated(60000);
        const QString reason = "The file cannot hold this text: it would not be read back.";

        QCOMPARE(document.problem(element, Workbench::TreeDocument::Name, "a>" + deep, false),
                 reason);
        QCOMPARE(document.problem(document.child(element, 0), Workbench::TreeDocument::Value,
                                  "-->" + deep, false),
                 reason);
    }

    void documentIsWrittenInUtf8WithADeclarationThatSaysSo()
    {
        TreeTest test;
        test.open(test.file("a.xml", "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n"
                                     "<a angle=\"30\xb0\" x=\"1\"/>\n"));
        QCOMPARE(test.text({0, 0}, value), QString::fromUtf8("30\u00b0"));
        test.change({0, 1}, value, "2");
        QString question;
        test.onMessage(QMessageBox::Save, question);

        test.press(Qt::Key_S, Qt::ControlModifier);

        QCOMPARE(question, QString("The file will be written in UTF-8 rather than in ISO-8859-1."));
        QCOMPARE(contentsOf(test.path("a.xml")),
                 QByteArray("<?xml version='1.0' encoding='UTF-8'?>\n"
                            "<a angle=\"30\xc2\xb0\" x=\"2\"/>\n\n"));
    }

    void documentAsksBeforeTextsBesideElementsAreChanged()
    {
        const QByteArray mixed = "<a><f z=\"1\">text<g x=\"1\"/></f></a>";
        TreeTest test;
        test.open(test.file("a.xml", mixed));
        QCOMPARE(test.names({0, 0}), QString("z (text) g"));
        test.change({0, 0, 1}, value, "other");
        QString question;
        test.onMessage(QMessageBox::Cancel, question);

        test.press(Qt::Key_S, Qt::ControlModifier);

        QCOMPARE(question,
                 QString("Texts or lines at \"<f>\" are changed by the layout of the file."));
        QCOMPARE(contentsOf(test.path("a.xml")), mixed);
        QVERIFY(test.document().isChanged());
    }

    void documentLosesNothingElse_data()
    {
        QTest::addColumn<QByteArray>("contents");

        QTest::newRow("comments and instructions") << QByteArray(
            "<?xml version=\"1.0\"?>\n<?style plain?>\n<!-- a -->\n<a><!-- b --></a>");
        QTest::newRow("CDATA") << QByteArray("<a><b><![CDATA[x < y\n z]]></b></a>");
        QTest::newRow("lines of text") << QByteArray("<a><b>one\ntwo  three\n</b></a>");
        QTest::newRow("entities") << QByteArray(
            "<!DOCTYPE a [\n<!ENTITY u \"kN\">\n]>\n<a unit=\"&u;\"><b>&u;</b></a>");
        QTest::newRow("line ends in an attribute") << QByteArray("<a b=\"1&#10;2&#9;3\"/>");
    }

    void documentLosesNothingElse()
    {
        QFETCH(QByteArray, contents);
        TreeTest test;
        test.open(test.file("a.xml", contents));

        QCOMPARE(test.document().whatSavingLoses(), QString());
    }

    void documentThatIsBrokenIsRefusedWithItsLine_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QString>("part");

        QTest::newRow("truncated") << frame.left(150) << "line 6";
        QTest::newRow("not well-formed") << QByteArray("<a>\n<b>\n</a>") << "line 3";
        QTest::newRow("empty") << QByteArray() << "line 1";
        QTest::newRow("too deep") << nested(100000) << "line 1";
    }

    void documentThatIsBrokenIsRefusedWithItsLine()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QString, part);
        TreeTest test;
        const QString path = test.file("bad.xml", contents);
        QString message;
        test.onMessage(QMessageBox::Ok, message);

        test.open(path);

        QVERIFY2(message.contains(path), qPrintable(message));
        QVERIFY2(message.contains(part), qPrintable(message));
        QVERIFY(!test.window().currentTab());
    }

    void documentKeepsItsContentsWhenTheNewFileIsBroken()
    {
        TreeTest test;
        test.open(test.file("frame.xml", frame));
        test.change({0, 4, 1}, value, "1.5");
        test.changeOnDisk("frame.xml", frame.left(100));
        QTRY_VERIFY(test.reloadButton());
        QString message;
        test.onDialog([&](QWidget *dialog) {
            test.onMessage(QMessageBox::Ok, message);
            TestWindow::pressButton(dialog, QMessageBox::Yes); // the changes may be lost
        });

        QTest::mouseClick(test.reloadButton(), Qt::LeftButton);

        QVERIFY2(message.contains("frame.xml"), qPrintable(message));
        QCOMPARE(test.text({0, 4, 1}, value), QString("1.5"));
        QVERIFY(test.document().isChanged());
        test.press(Qt::Key_S, Qt::ControlModifier);
        QVERIFY(contentsOf(test.path("frame.xml")).contains("x=\"1.5\""));
    }

    void documentThatIsDeepIsShownButNotSavedBeyondTheLimit()
    {
        TreeTest test;
        const QByteArray deep = nested(6000); // more than the library writes
        test.open(test.file("deep.xml", deep));
        test.find("nowhere"); // which visits all of them
        QCOMPARE(test.label("state"), QString("\"nowhere\" is not found."));
        test.change({0}, 0, "b");
        QString message;
        test.onMessage(QMessageBox::Ok, message);

        test.press(Qt::Key_S, Qt::ControlModifier);

        QVERIFY2(message.contains("deep.xml"), qPrintable(message));
        QCOMPARE(contentsOf(test.path("deep.xml")), deep);
        QVERIFY(test.document().isChanged());
    }

    void documentOfAnotherNameIsKnownByItsDeclaration()
    {
        TreeTest test;
        test.open(test.file("model.dat", "<?xml version=\"1.0\"?>\n<model version=\"2\"/>\n"));

        QCOMPARE(test.names({}), QString("model"));
        QCOMPARE(test.label("heading"),
                 QString::fromUtf8("Without a document type \u00b7 version 2"));
    }

    void documentOfManyElementsOpensAndScrollsQuickly()
    {
        const int numElements = 200000;
        TreeTest test;
        const QString path = test.file("many.xml", manyElements(numElements));
        QElapsedTimer timer;
        timer.start();
        {
            Utils::Xml::Document document(Utils::Xml::Document::Normal, 0.0);
            Data::String error;
            QVERIFY(document.open(path, "", error));
        }
        const qint64 reading = timer.restart();

        test.window().openFiles({path});
        test.tree().viewport()->repaint();
        const qint64 opening = timer.elapsed();

        const int numRows = numElements + 1; // and the version
        QCOMPARE(test.tree().model()->rowCount(test.cell({0})), numRows);
        const qint64 jump = test.longestJump();
        timer.restart();
        test.change({0, numElements, 1}, value, "3.25");
        test.click({0, 1});
        test.key(Qt::Key_Delete);
        const qint64 changing = timer.restart();
        QCOMPARE(test.text({0, numElements - 1, 1}, value), QString("3.25"));
        test.find("p199998");
        const qint64 finding = timer.elapsed();
        QCOMPARE(test.tree().currentIndex(), test.cell({0, numElements - 2, 0}, value));

        qInfo("reading %lld, opening %lld, jump %lld, changes %lld, find %lld ms", reading, opening,
              jump, changing, finding);
        // A frame has 50 ms; ten times as much on a machine that does other things as well.
        QVERIFY2(jump < 500, qPrintable(QString::number(jump)));
        QVERIFY2(opening < 4 * reading + 2000, qPrintable(QString::number(opening)));
    }
};

QTEST_MAIN(tst_Workbench_documents)
#include "tst_Workbench_documents.moc"
