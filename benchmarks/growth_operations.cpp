// Operations of the library at a size that the caller chooses, for benchmarks/growth:
//
//     growth_operations              lists the operations, each with the size to begin with
//     growth_operations NAME COUNT   prints the processor time of one run with COUNT of its things,
//                                    in milliseconds, without what prepares it

#include "benchmarks/HostMemory.h"
#include "benchmarks/PythonHost.h"
#include "data/Array.h"
#include "utils/Application.h"
#include "utils/csv/CSVDialect.h"
#include "utils/csv/CSVReader.h"
#include "utils/csv/CSVRow.h"
#include "utils/csv/CSVTable.h"
#include "utils/feedback/Progress.h"
#include "utils/files/File.h"
#include "utils/files/FileByteReader.h"
#include "utils/files/FileReader.h"
#include "utils/files/LogFile.h"
#include "utils/process/Process.h"
#include "utils/script/ScriptManager.h"
#include "utils/settings/Settings.h"
#include "utils/settings/SettingsSlot.h"
#include "utils/settings/SettingsWatch.h"
#include "utils/signals/ConditionalSlot.h"
#include "utils/signals/DelayedSlot.h"
#include "utils/signals/PublicSignal.h"
#include "utils/strings/StringTable.h"
#include "utils/tagfile/TagFile.h"
#include "utils/text/DateTime.h"
#include "utils/text/List.h"
#include "utils/text/Statistics.h"
#include "utils/text/StringUtil.h"
#include "utils/xml/Document.h"
#include "utils/xml/Element.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <memory>
#include <random>
#include <vector>

using Data::String;
using Data::VariantCollection;
using Utils::CSVReader;
using Utils::CSVTable;
using Utils::File;
using Utils::List;
using Utils::PublicSignal;
using Utils::Settings;
using Utils::Statistics;
using Utils::StringUtil;
using Utils::TagFile;

// The time of an operation

static double processorMilliseconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

template <typename Work>
static double timeOf(const Work &work)
{
    supplyMemory();
    const double start = processorMilliseconds();
    work();
    return processorMilliseconds() - start;
}

/// Times \p each, called with 0 to \p count - 1.
template <typename Each>
static double timeOfEach(int count, const Each &each)
{
    return timeOf([&] {
        for (int i = 0; i < count; ++i)
            each(i);
    });
}

static volatile double sink; // keeps a result that nothing else needs

/// Ends the program when an operation has failed: its time says nothing.
static void require(bool succeeded)
{
    if (!succeeded) {
        std::fprintf(stderr, "the operation has failed\n");
        std::exit(1);
    }
}

// Inputs

static String keyOf(int i) { return "key" + QString::number(i); }

static QString folder()
{
    static const QTemporaryDir made;
    return made.path();
}

static QString pathOf(const char *name)
{
    return folder() + QLatin1Char('/') + QLatin1String(name);
}

static QString written(const char *name, const QByteArray &bytes)
{
    File::writeRaw(pathOf(name), bytes);
    return pathOf(name);
}

static QByteArray rowsOfNumbers(int rows)
{
    QByteArray text;
    for (int i = 0; i < rows; ++i)
        text += QByteArray::number(i) + ',' + QByteArray::number(i * 0.5) + ",key" +
                QByteArray::number(i) + '\n';
    return text;
}

static std::unique_ptr<CSVTable> tableOf(int rows)
{
    auto table = std::make_unique<CSVTable>();
    table->setData(QString::fromLatin1(rowsOfNumbers(rows)));
    return table;
}

static std::unique_ptr<CSVTable> bytesTableOf(int rows)
{
    auto table = std::make_unique<CSVTable>();
    table->setData(rowsOfNumbers(rows));
    return table;
}

static std::unique_ptr<CSVTable> fileTableOf(int rows)
{
    auto table = std::make_unique<CSVTable>();
    table->read(written("rows.csv", rowsOfNumbers(rows)), 4096); // wraps to no bytes: of any size
    return table;
}

/// The same with a quoted text in each row, for Rfc4180.
static QByteArray quotedRows(int rows)
{
    QByteArray text;
    for (int i = 0; i < rows; ++i)
        text += QByteArray::number(i) + ",\"a \"\"b\"\", c\"," + QByteArray::number(i * 0.5) + '\n';
    return text;
}

/// Rows of words in windows-1252.
static QByteArray encodedRows(int rows)
{
    QByteArray text;
    for (int i = 0; i < rows; ++i)
        text += QByteArray::number(i) + ",Tr\xe4ger,M\xfcnchen\n";
    return text;
}

/// The sum of the lengths of all cells.
static double visited(const CSVTable &table)
{
    double size = 0.0;
    table.visit(0, -1, [&](const Utils::CSVRow &row) {
        for (const Utils::CSVCell &cell : row)
            size += cell.size();
        return true;
    });
    return size;
}

static std::unique_ptr<TagFile> tagsOf(int count)
{
    auto file = std::make_unique<TagFile>();
    for (int i = 0; i < count; ++i)
        file->addTag("point", String()).add("id", keyOf(i));
    return file;
}

static TagFile::Tag tagOf(int keys)
{
    TagFile::Tag tag("tag");
    for (int i = 0; i < keys; ++i)
        tag.add(keyOf(i), keyOf(i));
    return tag;
}

static QStringList textsOf(int count)
{
    std::mt19937 random(1);
    QStringList texts;
    for (int i = 0; i < count; ++i)
        texts << QString::number(random());
    return texts;
}

static QVector<double> numbersOf(int count)
{
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> spread(-1e6, 1e6);
    QVector<double> numbers;
    for (int i = 0; i < count; ++i)
        numbers << spread(random);
    return numbers;
}

static QList<int> everyOther(int count, int first)
{
    QList<int> list;
    for (int i = 0; i < count; ++i)
        list << first + 2 * i;
    return list;
}

/// Times \p work with a column of \p count numbers.
static double withColumn(int count, const std::function<void(const Data::Array &)> &work)
{
    const QVector<double> numbers = numbersOf(count);
    return timeOf([&] { work({numbers.constData(), static_cast<quint64>(count)}); });
}

static QByteArray documentOf(int elements)
{
    QByteArray text = "<!DOCTYPE test>\n<test version=\"1\">\n";
    for (int i = 0; i < elements; ++i)
        text += "  <item name=\"key" + QByteArray::number(i) + "\" value=\"" +
                QByteArray::number(i) + "\"/>\n";
    return text + "</test>\n";
}

/// A document of one element with many attributes.
static QByteArray documentWithAttributes(int attributes)
{
    QByteArray text = "<!DOCTYPE test>\n<test version=\"1\"";
    for (int i = 0; i < attributes; ++i)
        text += " key" + QByteArray::number(i) + "=\"" + QByteArray::number(i) + '"';
    return text + "/>\n";
}

static void setKeys(Settings &settings, int count)
{
    for (int i = 0; i < count; ++i)
        settings.setValue(keyOf(i), i);
}

static QByteArray tagTextOf(int tags)
{
    QByteArray text;
    for (int i = 0; i < tags; ++i)
        text += "*point\nid: key" + QByteArray::number(i) + "\nvalue: 1.5\n";
    return text;
}

static void makeFiles(const QString &where, int count)
{
    File::createDir(where);
    for (int i = 0; i < count; ++i)
        File::writeRaw(where + "/file" + QString::number(i) + ".txt", "text");
}

// The operations

struct Operation
{
    const char *name;
    int first; ///< the count to begin with
    std::function<double(int count)> run;
};

static const std::vector<Operation> signalOperations = {
    {"DelayedSlot::postPending(key, value)", 1000,
     [](int count) {
         Utils::DelayedSlot slot("slot", nullptr);
         return timeOfEach(count, [&](int i) { slot.postPending(keyOf(i), i); });
     }},
    {"Slot::onSig(key, value) within a payload", 100,
     [](int count) {
         VariantCollection payload;
         for (int i = 0; i < count; ++i)
             payload.insert(keyOf(i), i);
         Utils::Slot slot("slot", nullptr);
         PublicSignal sender("sender", nullptr);
         sender.connect(&slot);
         return timeOf([&] {
             for (auto entry = payload.cbegin(); entry != payload.cend(); ++entry)
                 sender.addData(entry.key(), entry.value());
             sender.sendSignals();
         });
     }},
    {"Signal::connect of receivers", 1000,
     [](int count) {
         PublicSignal signal("signal", nullptr);
         std::vector<std::unique_ptr<Utils::Slot>> slots;
         for (int i = 0; i < count; ++i)
             slots.push_back(std::make_unique<Utils::Slot>("slot", nullptr));
         return timeOfEach(count, [&](int i) { signal.connect(slots[std::size_t(i)].get()); });
     }},
    {"Signal::reconnect of each receiver", 100,
     [](int count) {
         PublicSignal signal("signal", nullptr);
         std::vector<std::unique_ptr<Utils::Slot>> slots;
         for (int i = 0; i < count; ++i) {
             slots.push_back(std::make_unique<Utils::Slot>("slot", nullptr));
             signal.connect(slots.back().get());
         }
         return timeOfEach(
             count, [&](int i) { signal.reconnect(slots[std::size_t(i)].get(), SLOT(onSig())); });
     }},
    {"Signal::sendSignals to receivers", 1000,
     [](int count) {
         PublicSignal signal("signal", nullptr);
         std::vector<std::unique_ptr<Utils::Slot>> slots;
         for (int i = 0; i < count; ++i) {
             slots.push_back(std::make_unique<Utils::Slot>("slot", nullptr));
             signal.connect(slots.back().get());
         }
         return timeOf([&] {
             signal.addData("key", 1);
             signal.sendSignals();
         });
     }},
    {"Signal, making and looking up", 1000,
     [](int count) {
         std::vector<std::unique_ptr<PublicSignal>> signals_;
         return timeOfEach(count, [&](int i) {
             signals_.push_back(std::make_unique<PublicSignal>(keyOf(i).c_str(), nullptr));
             sink = Utils::Signal::find(keyOf(i)) ? 1 : 0;
         });
     }},
    {"Signal::singleShot with ids", 1000,
     [](int count) {
         Utils::Slot slot("slot", nullptr);
         return timeOfEach(count,
                           [&](int i) { Utils::Signal::singleShot(&slot, 1000000, keyOf(i)); });
     }},
    {"ConditionalSlot, conditions", 1000,
     [](int count) {
         Utils::ConditionalSlot slot(String(), {}, "slot", nullptr);
         for (int i = 0; i < count; ++i)
             slot.addData(keyOf(i), i);
         VariantCollection payload;
         payload.insert("other", 1);
         return timeOf([&] { slot.onSig(payload); });
     }},
};

static const std::vector<Operation> settingsOperations = {
    {"Settings::setValue of new keys, one object", 100,
     [](int count) {
         Settings settings("growth");
         return timeOf([&] {
             for (int i = 0; i < count; ++i)
                 settings.setValue(keyOf(i), i);
             settings.sync();
         });
     }},
    {"Settings::setValue, an object each", 10,
     [](int count) {
         return timeOfEach(count, [&](int i) { Settings("growth").setValue(keyOf(i), i); });
     }},
    {"Settings::setValue, 20 objects, by keys stored", 100,
     [](int count) {
         Settings settings("growth");
         for (int i = 0; i < count; ++i)
             settings.setValue(keyOf(i), i);
         settings.sync();
         return timeOfEach(20, [&](int i) { Settings("growth").setValue(keyOf(i), -i); });
     }},
    {"Settings::getValue of each key", 1000,
     [](int count) {
         Settings settings("growth");
         for (int i = 0; i < count; ++i)
             settings.setValue(keyOf(i), i);
         return timeOfEach(count, [&](int i) { sink = settings.getInt(keyOf(i)); });
     }},
    {"Settings::keys", 1000,
     [](int count) {
         Settings settings("growth");
         for (int i = 0; i < count; ++i)
             settings.setValue(keyOf(i), i);
         return timeOf([&] { sink = settings.keys(String()).size(); });
     }},
    {"Settings::copyKey", 100,
     [](int count) {
         Settings settings("growth");
         for (int i = 0; i < count; ++i)
             settings.setValue("a/" + keyOf(i % 10) + "/" + keyOf(i), i);
         return timeOf([&] { settings.copyKey("a", "b", true); });
     }},
    {"Settings::renameKey", 100,
     [](int count) {
         Settings settings("growth");
         for (int i = 0; i < count; ++i)
             settings.setValue("a/" + keyOf(i % 10) + "/" + keyOf(i), i);
         return timeOf([&] { settings.renameKey("a", "b", true); });
     }},
    {"Settings::exportTo", 1000,
     [](int count) {
         Settings settings("growth");
         setKeys(settings, count);
         return timeOf([&] { require(settings.exportTo(pathOf("exported.ini"))); });
     }},
    {"Settings::importFrom", 1000,
     [](int count) {
         Settings settings("growth");
         setKeys(settings, count);
         require(settings.exportTo(pathOf("exported.ini")));
         Settings others("others");
         return timeOf([&] { require(others.importFrom(pathOf("exported.ini"))); });
     }},
    {"Settings::setDefault", 1000,
     [](int count) {
         Settings settings("growth");
         return timeOfEach(count, [&](int i) { settings.setDefault(keyOf(i), i, true); });
     }},
    {"Settings::changedFromDefaults and resetGroup", 1000,
     [](int count) {
         Settings settings("growth");
         for (int i = 0; i < count; ++i)
             settings.setDefault(keyOf(i), i, true).setValue(keyOf(i), -i);
         return timeOf([&] {
             sink = settings.changedFromDefaults().size();
             require(settings.resetGroup(String()));
         });
     }},
    {"Settings::addMRU, one object", 100,
     [](int count) {
         Settings settings;
         return timeOfEach(count, [&](int i) { settings.addMRU("files", keyOf(i)); });
     }},
    {"Settings::getMRU and removeMRU of each, of 676", 10,
     [](int count) {
         Settings settings;
         for (int i = 0; i < 676; ++i)
             settings.addMRU("files", keyOf(i));
         return timeOfEach(count, [&](int i) {
             settings.removeMRU("files", keyOf(i % 676));
             sink = settings.getMRU("files", false, -1).size();
         });
     }},
    {"SettingsWatch::check, all values changed", 1000,
     [](int count) {
         Settings settings("growth");
         setKeys(settings, count);
         settings.sync();
         Utils::SettingsWatch watch(3600 * 1000);
         QFile file(QSettings().fileName());
         file.open(QIODevice::ReadOnly);
         const QByteArray changed = file.readAll().replace('=', "=9");
         File::writeRaw(file.fileName(), changed);
         return timeOf([&] { require(watch.check() == count); });
     }},
    {"SettingsSlot, prefixes", 1000,
     [](int count) {
         QStringList prefixes;
         for (int i = 0; i < count; ++i)
             prefixes << keyOf(i);
         Utils::SettingsSlot slot(prefixes.join(';'), nullptr);
         Settings settings("growth");
         return timeOf([&] { settings.setValue("x", 1); });
     }},
};

static const std::vector<Operation> textOperations = {
    {"List::indexSort of numbers", 10000,
     [](int count) {
         const QVector<double> numbers = numbersOf(count);
         return timeOf([&] { sink = List::indexSort(numbers, true).size(); });
     }},
    {"List::indexSort of texts", 1000,
     [](int count) {
         const QStringList texts = textsOf(count);
         return timeOf([&] { sink = List::indexSort(texts, true, false).size(); });
     }},
    {"List::joinIndexList and splitIndexList", 1000,
     [](int count) {
         const QList<int> list = everyOther(count, 1);
         return timeOf(
             [&] { sink = List::splitIndexList(List::joinIndexList(list, ","), ",").size(); });
     }},
    {"List::safeJoin and safeSplit", 1000,
     [](int count) {
         QStringList texts = textsOf(count);
         for (QString &text : texts)
             text += ",\"";
         return timeOf(
             [&] { sink = List::safeSplit(List::safeJoin(texts, ","), ",", false).size(); });
     }},
    {"List::mergeIndexList", 1000,
     [](int count) {
         const QList<int> a = everyOther(count, 1);
         const QList<int> b = everyOther(count, 2);
         return timeOf([&] { sink = List::mergeIndexList(a, b).size(); });
     }},
    {"List::mergeSort", 1000,
     [](int count) {
         const QList<int> from = everyOther(count, 1);
         QList<int> into = everyOther(count, 2);
         return timeOf([&] { List::mergeSort(from, into); });
     }},
    {"Statistics::mean", 100000,
     [](int count) {
         return withColumn(count, [](const Data::Array &a) { sink = Statistics::mean(a); });
     }},
    {"Statistics::median", 10000,
     [](int count) {
         return withColumn(count, [](const Data::Array &a) { sink = Statistics::median(a); });
     }},
    {"Statistics::sort", 10000,
     [](int count) {
         return withColumn(count,
                           [](const Data::Array &a) { sink = Statistics::sort(a, true).size(); });
     }},
    {"Statistics::histogramData", 10000,
     [](int count) {
         return withColumn(count, [](const Data::Array &a) {
             QList<int> counts;
             QList<double> edges;
             sink = Statistics::histogramData(a, 50, counts, edges);
         });
     }},
    {"Statistics::coefficientCorrelation", 100000,
     [](int count) {
         return withColumn(
             count, [](const Data::Array &a) { sink = Statistics::coefficientCorrelation(a, a); });
     }},
    {"Statistics::variance", 100000,
     [](int count) {
         return withColumn(count, [](const Data::Array &a) { sink = Statistics::variance(a); });
     }},
    {"Statistics::percentile", 10000,
     [](int count) {
         return withColumn(count,
                           [](const Data::Array &a) { sink = Statistics::percentile(a, 95.0); });
     }},
    {"Statistics::medianAbsoluteDeviation", 10000,
     [](int count) {
         return withColumn(
             count, [](const Data::Array &a) { sink = Statistics::medianAbsoluteDeviation(a); });
     }},
    {"Statistics::distributionData", 10000,
     [](int count) {
         return withColumn(count, [](const Data::Array &a) {
             QVector<double> x;
             QVector<double> y;
             Statistics::distributionData(a, 50, x, y, Statistics::DensityScale);
             sink = y.size();
         });
     }},
    {"Statistics::fitLine", 10000,
     [](int count) {
         return withColumn(
             count, [](const Data::Array &a) { require(Statistics::fitLine(a, a).isValid()); });
     }},
    {"Statistics::fitPolynomial of degree 5", 10000,
     [](int count) {
         return withColumn(count, [](const Data::Array &a) {
             require(Statistics::fitPolynomial(a, a, 5).isValid());
         });
     }},
    {"Statistics::movingAverage of 11", 10000,
     [](int count) {
         return withColumn(
             count, [](const Data::Array &a) { sink = Statistics::movingAverage(a, 5, 5).size(); });
     }},
    {"Statistics::movingAverage of half the column", 10000,
     [](int count) {
         return withColumn(count, [count](const Data::Array &a) {
             sink = Statistics::movingAverage(a, count / 4, count / 4).size();
         });
     }},
    {"StringUtil::escape and unescape", 10000,
     [](int count) {
         const String text(QString(" \\").repeated(count / 2));
         return timeOf([&] {
             sink = StringUtil::unescape(StringUtil::escape(text, " ", String()), " ").size();
         });
     }},
    {"StringUtil::joinProps and splitProps", 1000,
     [](int count) {
         QMap<String, String> map;
         for (int i = 0; i < count; ++i)
             map.insert(keyOf(i), keyOf(i));
         return timeOf([&] { sink = StringUtil::splitProps2(StringUtil::joinProps(map)).size(); });
     }},
    {"StringUtil::replaceSymbol", 1000,
     [](int count) {
         const String text(QString("&alpha;&#65;").repeated(count));
         return timeOf([&] { sink = StringUtil::replaceSymbol(text).size(); });
     }},
    {"StringUtil::removeTags", 1000,
     [](int count) {
         const String text(QString("<b>x</b><").repeated(count));
         return timeOf([&] { sink = StringUtil::removeTags(text).size(); });
     }},
    {"StringUtil::combineLines", 1000,
     [](int count) {
         const String text(QString("one\nTwo\n- three\n").repeated(count));
         return timeOf([&] { sink = StringUtil::combineLines(text, "\n", "<br>").size(); });
     }},
    {"StringUtil::makeLabel", 1000,
     [](int count) {
         const String text(QString("maxLoad").repeated(count));
         return timeOf([&] { sink = StringUtil::makeLabel(text, true).size(); });
     }},
    {"StringUtil::findMatch", 10000,
     [](int count) {
         const String text(QString("(").repeated(count) + QString(")").repeated(count));
         return timeOf([&] { sink = StringUtil::findMatch(text, 0); });
     }},
    {"StringUtil::formatTable", 1000,
     [](int count) {
         const String text(QString("a: b\n").repeated(count));
         return timeOf([&] { sink = StringUtil::formatTable(text, ": ", 1).size(); });
     }},
    {"StringUtil::display of numbers", 1000,
     [](int count) {
         return timeOfEach(count, [](int i) { sink = StringUtil::display(i * 0.1).size(); });
     }},
    {"DateTime, text to time and back", 100,
     [](int count) {
         return timeOfEach(count, [](int i) {
             const Utils::DateTime time(1.5e9 + i);
             const String format = Utils::DateTime::formatISO();
             sink = Utils::DateTime(time.toString(format), format).timeId();
         });
     }},
};

static const std::vector<Operation> tagOperations = {
    {"TagFile::read", 1000,
     [](int count) {
         const QString path = written("tags.txt", tagTextOf(count));
         TagFile file;
         String error;
         return timeOf([&] { require(file.read(path, error)); });
     }},
    {"TagFile::save", 1000,
     [](int count) {
         const auto file = tagsOf(count);
         String error;
         return timeOf([&] { require(file->save(pathOf("saved.txt"), error)); });
     }},
    {"TagFile, streaming", 1000,
     [](int count) {
         TagFile file;
         String error;
         require(file.open(pathOf("streamed.txt"), error));
         return timeOf([&] {
             for (int i = 0; i < count; ++i)
                 file.writeTag("point", String(), false).writeProperty("id", keyOf(i));
             file.close();
         });
     }},
    {"TagFile::addTag", 1000,
     [](int count) {
         TagFile file;
         return timeOfEach(count, [&](int i) { file.addTag("point", String()).add("id", i); });
     }},
    {"TagFile::addFileType, before all others", 100,
     [](int count) {
         TagFile file;
         return timeOfEach(count, [&](int) { file.addFileType("points", "1", String()); });
     }},
    {"TagFile::findTag of each by value, read", 100,
     [](int count) {
         TagFile file(written("tags.txt", tagTextOf(count)));
         return timeOfEach(count,
                           [&](int i) { sink = file.findTag("point", "id", keyOf(i)).line; });
     }},
    {"TagFile::findTag of each by value, added", 100,
     [](int count) {
         const auto file = tagsOf(count);
         return timeOfEach(count,
                           [&](int i) { sink = file->findTag("point", "id", keyOf(i)).line; });
     }},
    {"TagFile::removeTag(0) of each", 1000,
     [](int count) {
         const auto file = tagsOf(count);
         return timeOfEach(count, [&](int) { file->removeTag(0); });
     }},
    {"TagFile::addErrorMessage", 1000,
     [](int count) {
         TagFile file;
         return timeOfEach(count, [&](int i) { file.addErrorMessage(keyOf(i)); });
     }},
    {"TagFile::setMeta", 1000,
     [](int count) {
         TagFile file;
         return timeOfEach(count, [&](int i) { file.setMeta(keyOf(i), i); });
     }},
    {"Tag::get of each key", 100,
     [](int count) {
         const TagFile::Tag tag = tagOf(count);
         return timeOfEach(count, [&](int i) { sink = tag.get(keyOf(i), 0).size(); });
     }},
    {"Tag::get(key, skip) of each of one key", 100,
     [](int count) {
         TagFile::Tag tag("tag");
         for (int i = 0; i < count; ++i)
             tag.add("key", keyOf(i));
         return timeOfEach(count, [&](int i) { sink = tag.get("key", i).size(); });
     }},
    {"Tag::replace of each key", 100,
     [](int count) {
         TagFile::Tag tag = tagOf(count);
         return timeOfEach(count, [&](int i) { tag.replace(keyOf(i), "new"); });
     }},
    {"Tag::toStringList and fromList", 1000,
     [](int count) {
         const TagFile::Tag tag = tagOf(count);
         return timeOf([&] {
             TagFile::Tag read("tag");
             sink = read.fromList(tag.toStringList(0, 0), 0).numProps();
         });
     }},
};

/// Times how \a Reader reads a file of \p count lines.
template <typename Reader, typename Line>
static double timeOfLines(int count)
{
    const QString path = written("text.txt", rowsOfNumbers(count));
    return timeOf([&] {
        Reader reader(path);
        Line line;
        while (reader.readLine(line, false))
            sink = line.size();
    });
}

static const std::vector<Operation> fileOperations = {
    {"File::read", 10000,
     [](int count) {
         const QString path = written("text.txt", rowsOfNumbers(count));
         return timeOf([&] { sink = File::read(path).size(); });
     }},
    {"File::write of lines", 10000,
     [](int count) {
         const QStringList lines = textsOf(count);
         return timeOf([&] { File::write(pathOf("lines.txt"), lines); });
     }},
    {"FileReader::readLine", 10000, timeOfLines<Utils::FileReader, String>},
    {"FileByteReader::readLine", 10000, timeOfLines<Utils::FileByteReader, QByteArray>},
    {"File::containsWord", 10000,
     [](int count) {
         const QString path = written("text.txt", rowsOfNumbers(count));
         return timeOf([&] { sink = File::containsWord(path, "absent", false) ? 1 : 0; });
     }},
    {"File::searchInFiles, by lines", 10000,
     [](int count) {
         const QStringList files(written("text.txt", rowsOfNumbers(count)));
         return timeOf([&] { sink = File::searchInFiles("absent", files).size(); });
     }},
    {"File::searchInFiles, by files", 10,
     [](int count) {
         const QString where = pathOf("searched");
         makeFiles(where, count);
         return timeOf([&] { sink = File::searchInFiles("absent", where, "*.txt").size(); });
     }},
    {"LogFile::append", 1000,
     [](int count) {
         Utils::LogFile log(pathOf("log.txt"), false);
         log.setTimestamp(true);
         return timeOfEach(count, [&](int i) { log.append(keyOf(i), true); });
     }},
    {"File::search", 10,
     [](int count) {
         const QString where = pathOf("searched");
         makeFiles(where, count);
         return timeOf([&] { sink = File::search(where, "*.txt").size(); });
     }},
    {"File::copyDir", 10,
     [](int count) {
         const QString where = pathOf("source");
         makeFiles(where, count);
         return timeOf([&] { sink = File::copyDir(where, pathOf("target")); });
     }},
    {"File::remove of a folder", 10,
     [](int count) {
         const QString where = pathOf("removed");
         makeFiles(where, count);
         return timeOf([&] { sink = File::remove(where); });
     }},
    {"File::isSamePath, parts of a path", 100,
     [](int count) {
         const String path(QString("/part").repeated(count));
         return timeOf([&] { sink = File::isSamePath(path, path + "/") ? 1 : 0; });
     }},
    {"File::abbreviateName", 100,
     [](int count) {
         const String path(QString("/part").repeated(count));
         return timeOf([&] { sink = File::abbreviateName(path).size(); });
     }},
};

static const std::vector<Operation> documentOperations = {
    {"Document::open", 1000,
     [](int count) {
         const QString path = written("document.xml", documentOf(count));
         Utils::Xml::Document document(Utils::Xml::Document::Normal, 1.0);
         String error;
         return timeOf([&] { require(document.open(path, "test", error)); });
     }},
    {"Document::write", 1000,
     [](int count) {
         Utils::Xml::Document document(Utils::Xml::Document::Normal, 1.0);
         String error;
         require(document.open(written("document.xml", documentOf(count)), "test", error));
         return timeOf([&] { require(document.write(pathOf("out.xml"))); });
     }},
    {"Document::replaceInValues", 1000,
     [](int count) {
         Utils::Xml::Document document(Utils::Xml::Document::Normal, 1.0);
         String error;
         require(document.open(written("document.xml", documentOf(count)), "test", error));
         return timeOf([&] { document.replaceInValues("key1", "new"); });
     }},
    {"Document::appendMessage", 1000,
     [](int count) {
         Utils::Xml::Document document(Utils::Xml::Document::Normal, 1.0);
         return timeOfEach(count, [&](int i) { document.appendMessage(keyOf(i)); });
     }},
    {"Document::open, one element, attributes", 1000,
     [](int count) {
         const QString path = written("document.xml", documentWithAttributes(count));
         Utils::Xml::Document document(Utils::Xml::Document::Normal, 1.0);
         String error;
         return timeOf([&] { require(document.open(path, "test", error)); });
     }},
    {"Document::write, one element, attributes", 1000,
     [](int count) {
         Utils::Xml::Document document(Utils::Xml::Document::Normal, 1.0);
         String error;
         require(
             document.open(written("document.xml", documentWithAttributes(count)), "test", error));
         return timeOf([&] { require(document.write(pathOf("out.xml"))); });
     }},
    {"Element::setAttribute of each", 1000,
     [](int count) {
         Utils::Xml::Document document(Utils::Xml::Document::Normal, 1.0);
         Utils::Xml::Element element = document.createElement("item");
         return timeOfEach(count, [&](int i) { element.setAttribute(keyOf(i), i); });
     }},
    {"Element::orderedAttributes", 100,
     [](int count) {
         Utils::Xml::Document document(Utils::Xml::Document::Normal, 1.0);
         Utils::Xml::Element element = document.createElement("item");
         for (int i = 0; i < count; ++i)
             element.setAttribute(keyOf(i), i);
         return timeOf([&] { sink = element.orderedAttributes().size(); });
     }},
};

static const std::vector<Operation> tableOperations = {
    {"CSVTable::setData(text) and first cell", 10000,
     [](int count) {
         const QString text = QString::fromLatin1(rowsOfNumbers(count));
         CSVTable table;
         return timeOf([&] {
             table.setData(String(text));
             sink = table.data(0, 0).size();
         });
     }},
    {"CSVTable::read as bytes", 10000,
     [](int count) {
         const QString path = written("rows.csv", rowsOfNumbers(count));
         CSVTable table;
         return timeOf([&] { require(table.read(path, 100)); });
     }},
    {"CSVTable::read in the file", 10000,
     [](int count) {
         const QString path = written("rows.csv", rowsOfNumbers(count));
         CSVTable table;
         return timeOf([&] { require(table.read(path, 4096)); });
     }},
    {"CSVTable::read as text", 10000,
     [](int count) {
         const QString path = written("rows.csv", rowsOfNumbers(count));
         CSVTable table;
         return timeOf([&] { require(table.read(path)); });
     }},
    {"CSVTable::read, Rfc4180, as text", 10000,
     [](int count) {
         const QString path = written("rows.csv", quotedRows(count));
         CSVTable table;
         table.setQuoting(CSVTable::Rfc4180);
         return timeOf([&] { require(table.read(path)); });
     }},
    {"CSVTable::read, Rfc4180, as bytes", 10000,
     [](int count) {
         const QString path = written("rows.csv", quotedRows(count));
         CSVTable table;
         table.setQuoting(CSVTable::Rfc4180);
         return timeOf([&] { require(table.read(path, 100)); });
     }},
    {"CSVTable::read, Rfc4180, in the file", 10000,
     [](int count) {
         const QString path = written("rows.csv", quotedRows(count));
         CSVTable table;
         table.setQuoting(CSVTable::Rfc4180);
         return timeOf([&] { require(table.read(path, 4096)); });
     }},
    {"CSVTable::read, Rfc4180, a quote that is not closed", 10000,
     [](int count) {
         const QString path = written("rows.csv", "\"" + rowsOfNumbers(count));
         CSVTable table;
         table.setQuoting(CSVTable::Rfc4180);
         return timeOf([&] { require(!table.read(path, 100)); });
     }},
    {"CSVTable::read, windows-1252, as text", 10000,
     [](int count) {
         const QString path = written("rows.csv", encodedRows(count));
         CSVTable table;
         table.setEncoding("windows-1252");
         return timeOf([&] { require(table.read(path)); });
     }},
    {"CSVTable::read, windows-1252, as bytes", 10000,
     [](int count) {
         const QString path = written("rows.csv", encodedRows(count));
         CSVTable table;
         table.setEncoding("windows-1252");
         return timeOf([&] { require(table.read(path, 100)); });
     }},
    {"CSVTable::read, an encoding that is guessed", 10000,
     [](int count) {
         const QString path = written("rows.csv", encodedRows(count));
         CSVTable table;
         table.setEncoding("auto");
         return timeOf([&] { require(table.read(path, 100)); });
     }},
    {"CSVDialect::detect", 1000,
     [](int count) {
         const QString path = written("rows.csv", rowsOfNumbers(count));
         return timeOf([&] { require(Utils::CSVDialect::detect(path).isValid()); });
     }},
    {"CSVTable::visit, as text", 10000,
     [](int count) {
         const auto table = tableOf(count);
         return timeOf([&] { sink = visited(*table); });
     }},
    {"CSVTable::visit, as bytes", 10000,
     [](int count) {
         const auto table = bytesTableOf(count);
         return timeOf([&] { sink = visited(*table); });
     }},
    {"CSVTable::visit, in the file", 10000,
     [](int count) {
         const auto table = fileTableOf(count);
         return timeOf([&] { sink = visited(*table); });
     }},
    {"CSVTable::columns", 1000,
     [](int count) {
         const auto table = bytesTableOf(count);
         return timeOf([&] { sink = table->columns().size(); });
     }},
    {"CSVTable::columns, one row of many", 1000,
     [](int count) {
         CSVTable table;
         table.setData(rowsOfNumbers(count).replace('\n', ','));
         return timeOf([&] { sink = table.columns().size(); });
     }},
    {"CSVTable::data(row, col) of each, as text", 1000,
     [](int count) {
         const auto table = tableOf(count);
         return timeOfEach(count, [&](int i) { sink = table->data(i, 1).size(); });
     }},
    {"CSVTable::data(row, col) of each, as bytes", 1000,
     [](int count) {
         const auto table = bytesTableOf(count);
         return timeOfEach(count, [&](int i) { sink = table->data(i, 1).size(); });
     }},
    {"CSVTable::data(row, col) of each, in the file", 1000,
     [](int count) {
         const auto table = fileTableOf(count);
         return timeOfEach(count, [&](int i) { sink = table->data(i, 1).size(); });
     }},
    {"CSVTable::data(key, col) of each row", 100,
     [](int count) {
         CSVTable table;
         for (int i = 0; i < count; ++i)
             table.appendData(QStringList{keyOf(i), QString::number(i)});
         return timeOfEach(count,
                           [&](int i) { sink = table.data(keyOf(i), 0, 0, nullptr, true).size(); });
     }},
    {"CSVTable::colDataValue", 10000,
     [](int count) {
         const auto table = bytesTableOf(count);
         return timeOf([&] { sink = table->colDataValue(1).size(); });
     }},
    {"CSVTable::colDataValues of three columns", 10000,
     [](int count) {
         const auto table = bytesTableOf(count);
         return timeOf([&] { sink = table->colDataValues({0, 1, 2}).size(); });
     }},
    {"CSVTable::setData(row, col, text) of each", 1000,
     [](int count) {
         const auto table = tableOf(count);
         return timeOfEach(count, [&](int i) { table->setData(i, 1, String("x")); });
     }},
    {"CSVTable::appendData", 1000,
     [](int count) {
         CSVTable table;
         return timeOfEach(count, [&](int i) {
             table.appendData(QStringList{keyOf(i), QString::number(i)});
         });
     }},
    {"CSVTable::removeColumn", 1000,
     [](int count) {
         const auto table = tableOf(count);
         return timeOf([&] { table->removeColumn(1); });
     }},
    {"CSVTable::removeEmptyRows", 1000,
     [](int count) {
         CSVTable table;
         table.setData(String(QString("a,b\n,\n").repeated(count)));
         return timeOf([&] { sink = table.removeEmptyRows(); });
     }},
    {"CSVTable::sort", 1000,
     [](int count) {
         const auto table = tableOf(count);
         return timeOf([&] { table->sort(2, 0, false); });
     }},
    {"CSVTable::alignColumns", 1000,
     [](int count) {
         const auto table = tableOf(count);
         return timeOf([&] { table->alignColumns(); });
     }},
    {"CSVTable::alignedStringData", 1000,
     [](int count) {
         const auto table = tableOf(count);
         return timeOf([&] { sink = table->alignedStringData().size(); });
     }},
    {"CSVTable::stringData", 1000,
     [](int count) {
         const auto table = tableOf(count);
         return timeOf([&] { sink = table->stringData().size(); });
     }},
    {"CSVTable::checksum", 10000,
     [](int count) {
         const auto table = bytesTableOf(count);
         return timeOf([&] { sink = table->checksum(); });
     }},
    {"CSVTable::write", 1000,
     [](int count) {
         const auto table = tableOf(count);
         return timeOf([&] { require(table->write(pathOf("out.csv"))); });
     }},
    {"CSVReader::read and numbers of a column", 10000,
     [](int count) {
         const QString path = written("rows.csv", rowsOfNumbers(count));
         return timeOf([&] {
             CSVReader reader;
             reader.read(path);
             sink = reader.colDataValue(1).size();
         });
     }},
};

// Scripts

#ifdef KELMUTILS_PYTHON_HOME
/// Times \p each, as timeOfEach(), after an interpreter has been started.
static double timeOfScripts(int count, const std::function<void(int)> &each)
{
    PythonHost host;
    Utils::setApplication(&host);
    auto &manager = Utils::ScriptManager::instance();
    Data::Variant result;
    String error;
    require(manager.execute("pass\n", "py", result, error));
    const double time = timeOfEach(count, each);
    manager.reset("");
    Utils::setApplication(nullptr);
    return time;
}

/// Times a script.
static double timeOfScript(const QString &code)
{
    return timeOfScripts(1, [&](int) {
        Data::Variant result;
        String error;
        require(Utils::ScriptManager::instance().execute(code, "py", result, error));
    });
}

static const std::vector<Operation> scriptOperations = {
    {"Script, lines", 1000,
     [](int count) { return timeOfScript(QString("x = 1\n").repeated(count)); }},
    {"Script, text on one line", 1000,
     [](int count) { return timeOfScript("x = '" + QString("x").repeated(count) + "'\n"); }},
    {"Script, nested lists", 1000,
     [](int count) {
         return timeOfScript("x = [" + QString("[1, [2]], ").repeated(count) + "]\n");
     }},
    {"Script, lines of output", 1000,
     [](int count) {
         double numLines = 0.0;
         Utils::ScriptManager::instance().setOutputSink(
             [&](const String &, Utils::ScriptChannel) { ++numLines; });
         const double time = timeOfScript(QString("for i in range(%1):\n    print i\n").arg(count));
         Utils::ScriptManager::instance().setOutputSink({});
         sink = numLines;
         return time;
     }},
    {"Script, runs", 100,
     [](int count) {
         return timeOfScripts(count, [](int) {
             Data::Variant result;
             String error;
             require(Utils::ScriptManager::instance().execute("x = 1\n", "py", result, error));
         });
     }},
    {"Script, names that are pushed", 100,
     [](int count) {
         return timeOfScripts(
             count, [](int i) { Utils::ScriptManager::instance().pushData(keyOf(i), i, "py"); });
     }},
};
#else
static const std::vector<Operation> scriptOperations;
#endif

static const std::vector<Operation> otherOperations = {
    {"StringTable::load", 1000,
     [](int count) {
         QByteArray body;
         for (int i = 0; i < count; ++i)
             body += "<string id='.msg.text" + QByteArray::number(i) + "'>A text</string>\n";
         QDir(folder()).mkdir("locale");
         written("locale/Growth_en.xml", "<!DOCTYPE StringTable><strings>" + body + "</strings>");
         File::setSearchPath(folder(), String());
         Utils::StringTable::initialize("en", String(), String());
         return timeOf([&] { require(Utils::StringTable::load("Growth")); });
     }},
    {"Progress::tick", 10000,
     [](int count) {
         Utils::Progress progress(count);
         return timeOfEach(count, [&](int) { progress.tick(); });
     }},
    {"Process, output of lines", 10000,
     [](int count) {
         Utils::Process process("seq", {QString::number(count)});
         return timeOf([&] {
             process.start();
             process.wait(false);
             sink = process.output().size();
         });
     }},
    {"StringTable::lookup of keys that are not there", 1000,
     [](int count) {
         return timeOfEach(count,
                           [](int i) { sink = Utils::StringTable::lookup(keyOf(i)).size(); });
     }},
};

static std::vector<Operation> allOperations()
{
    std::vector<Operation> all;
    for (const auto *some :
         {&signalOperations, &settingsOperations, &textOperations, &tagOperations, &fileOperations,
          &documentOperations, &tableOperations, &scriptOperations, &otherOperations})
        all.insert(all.end(), some->begin(), some->end());
    return all;
}

int main(int argc, char **argv)
{
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(folder())); // where settings are stored
    const QCoreApplication application(argc, argv);
    QCoreApplication::setOrganizationName("Growth");
    QCoreApplication::setApplicationName("Growth");

    const QString name = argc == 3 ? QString::fromUtf8(argv[1]) : QString();
    const int count = argc == 3 ? QString::fromUtf8(argv[2]).toInt() : 0;
    for (const Operation &operation : allOperations()) {
        if (argc == 1)
            std::printf("%d %s\n", operation.first, operation.name);
        else if (name == operation.name && count > 0)
            return std::printf("%.6f\n", operation.run(count)) > 0 ? 0 : 1;
    }
    return argc == 1 ? 0 : 1;
}
