#include <QProcess>
#include <QtTest>

class tst_PythonPlugin : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void importsExtensionModulesWhereTheLibraryWasLoadedForAPluginAlone()
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(PLUGIN_HOST, QStringList());
        QVERIFY(process.waitForFinished(-1));

        QCOMPARE(process.readAll(), QByteArray("Python is local\n"
                                               "sip: imported\n"
                                               "KelmData: imported\n"
                                               "KelmUtils: imported\n"
                                               "_ctypes: imported\n"
                                               "_hashlib: imported\n"
                                               "a/b\n"
                                               "c/d\n"));
        QCOMPARE(process.exitCode(), 0);
    }
};

QTEST_GUILESS_MAIN(tst_PythonPlugin)
#include "tst_PythonPlugin.moc"
