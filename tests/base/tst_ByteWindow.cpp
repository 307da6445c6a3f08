#include "utils/base/ByteWindow_p.h"

#include <QtTest>

using Utils::ByteWindow;

class tst_ByteWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_bytes.clear();
        for (int i = 0; i < 3000; ++i)
            m_bytes += QByteArray::number(i);
        m_reads.clear();
        m_bad = m_bytes.size();
    }

    void readsMoreWithEachAdjacentRead()
    {
        ByteWindow window({16, 100});

        for (int offset = 200; offset < 400; offset += 8)
            QCOMPARE(bytesIn(window, offset, 8), m_bytes.mid(offset, 8));

        QCOMPARE(m_reads, (QStringList{"200+16", "216+64", "280+100", "376+100"}));
    }

    void readsBeforeItWhenItGoesBack()
    {
        ByteWindow window({16, 64});

        for (int offset = 200; offset > 100; offset -= 8)
            QCOMPARE(bytesIn(window, offset, 8), m_bytes.mid(offset, 8));

        QCOMPARE(m_reads, (QStringList{"200+16", "137+64", "81+64"}));
    }

    void skipsALineFeedBetweenAdjacentReads()
    {
        ByteWindow window({16, 64});

        QCOMPARE(bytesIn(window, 200, 8), m_bytes.mid(200, 8));
        QCOMPARE(bytesIn(window, 217, 8), m_bytes.mid(217, 8)); // one byte after the window
        QCOMPARE(bytesIn(window, 190, 8), m_bytes.mid(190, 8));

        QCOMPARE(m_reads, (QStringList{"200+16", "217+64", "190+16"}));
    }

    void readsLittleAtANewPosition()
    {
        ByteWindow window({16, 64});

        for (const int offset : {200, 216, 2000, 10})
            QCOMPARE(bytesIn(window, offset, 8), m_bytes.mid(offset, 8));

        QCOMPARE(m_reads, (QStringList{"200+16", "216+64", "2000+16", "10+16"}));
    }

    void showsMoreBytesThanItsLargestSize()
    {
        ByteWindow window({16, 64});

        QCOMPARE(bytesIn(window, 10, 1000), m_bytes.mid(10, 1000));
        QCOMPARE(bytesIn(window, 1010, 2000), m_bytes.mid(1010, 2000));
        QCOMPARE(bytesIn(window, 3010, 8), m_bytes.mid(3010, 8));
        QCOMPARE(bytesIn(window, 5, 8), m_bytes.mid(5, 8));

        QCOMPARE(m_reads, (QStringList{"10+1000", "1010+2000", "3010+64", "5+16"}));
    }

    void showsWhatIsLeftAtTheEnd()
    {
        ByteWindow window({16, 64});
        const int size = m_bytes.size();

        QCOMPARE(bytesIn(window, size - 3, 8), m_bytes.right(3));
        QCOMPARE(bytesIn(window, size, 8), QByteArray());

        QVERIFY(!m_hasFailed);
    }

    void showsWhatIsBeforeAPlaceThatCannotBeRead()
    {
        ByteWindow window({16, 64});
        m_bad = 210;

        QCOMPARE(bytesIn(window, 200, 8), m_bytes.mid(200, 8));
        QVERIFY(!m_hasFailed);
        QCOMPARE(bytesIn(window, 208, 8), m_bytes.mid(208, 2));
        QVERIFY(m_hasFailed);

        m_bad = m_bytes.size();
        QCOMPARE(bytesIn(window, 208, 8), m_bytes.mid(208, 8));
        QVERIFY(!m_hasFailed);
    }

    void readsAgainOnceItIsCleared()
    {
        ByteWindow window({16, 64});
        QCOMPARE(bytesIn(window, 200, 8), m_bytes.mid(200, 8));

        window.clear();

        m_bytes[200] = 'x';
        QCOMPARE(bytesIn(window, 200, 8), m_bytes.mid(200, 8));
    }

private:
    /// The bytes that the window shows. Each read is noted with its offset and size.
    QByteArray bytesIn(ByteWindow &window, qint64 offset, int size)
    {
        const auto readAt = [this](qint64 start, char *bytes, int count) {
            m_reads += QString("%1+%2").arg(start).arg(count);
            const int left = std::max(0, std::min(m_bad - static_cast<int>(start), count));
            std::copy_n(m_bytes.constData() + start, left, bytes);
            return ByteWindow::Count{left, left < count && m_bad < m_bytes.size()};
        };
        const ByteWindow::View view = window.view(offset, size, readAt);
        m_hasFailed = view.size.hasFailed;
        return {view.begin, view.size.count};
    }

    QByteArray m_bytes;
    QStringList m_reads;
    int m_bad = 0; // from where on the bytes cannot be read
    bool m_hasFailed = false;
};

QTEST_GUILESS_MAIN(tst_ByteWindow)
#include "tst_ByteWindow.moc"
