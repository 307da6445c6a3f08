// What printers.py looks at in gdb. A comment with an expression, "=>" and a text promises what gdb
// shows for the expression where look() is called. "ADDRESS" is any address, "FOLDER" the folder in
// which this program runs.

#include "utils/KelmUtils.h"

#include <QCoreApplication>
#include <QDate>
#include <QFile>

#include <cstring>
#include <new>

/// Memory in which an object may be missing, or not any more be there.
template <typename T>
struct Room
{
    explicit Room(int byte) { std::memset(bytes, byte, sizeof bytes); }

    /// An object that is made with \p arguments and destroyed again.
    template <typename... Arguments>
    static Room destroyed(const Arguments &...arguments)
    {
        Room room(0);
        (new (room.bytes) T(arguments...))->~T();
        return room;
    }

    alignas(T) unsigned char bytes[sizeof(T)];
};

/// Words as they are found in memory: random ones, small numbers, and addresses of each other.
struct Noise
{
    Noise()
    {
        quint64 state = 88172645463325252U;
        for (quint64 &word : words) {
            state ^= state << 13;
            state ^= state >> 7;
            state ^= state << 17;
            const quint64 size = sizeof words / sizeof words[0];
            switch (state >> 61) {
            case 0:
                word = state;
                break;
            case 1:
                word = (state >> 8) % 16;
                break;
            case 2: // two small numbers, as a count of references and a size
                word = (state >> 8) % 4 << 32 | (state >> 16) % 4;
                break;
            default:
                word = reinterpret_cast<quint64>(words + (state >> 8) % size);
            }
        }
    }

    quint64 words[8192];
};

/// Marks an object as one whose QObject is destroyed, as long as the mark exists.
class Marked
{
public:
    explicit Marked(QObject &object)
    {
        char *const objectPrivate = reinterpret_cast<char **>(&object)[1];
        m_flags = reinterpret_cast<quint32 *>(objectPrivate + 32);
        *m_flags |= wasDeleted;
    }
    ~Marked() { *m_flags &= ~wasDeleted; }

    Marked(const Marked &) = delete;
    Marked &operator=(const Marked &) = delete;

private:
    static constexpr quint32 wasDeleted = 4;

    quint32 *m_flags;
};

class HostSignal : public Utils::PublicSignal
{
public:
    HostSignal() : PublicSignal("Saved", nullptr) {}
};

static void write(const QString &path, const QByteArray &text, int count)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        qFatal("%s cannot be written", qPrintable(path));
    file.write("Name;Length\n");
    for (int i = 0; i < count; ++i)
        file.write(text);
}

static Data::String made(const char *text) { return Data::String(text) + "!"; }

static Data::VariantCollection payload()
{
    return {{"path", "a.csv"}, {"rows", 3}, {"share", 0.25}, {"isNew", true}};
}

static void look() {}

static int strings()
{
    const Data::String empty;
    // empty => ""
    const Data::String plain("Hex bolt");
    // plain => "Hex bolt"
    const Data::String special("a \"b\" \\ \n\t\x01 \xC2\xB5m \xF0\x9F\x94\xA9");
    // special => "a \"b\" \\ \n\t\x01 µm 🔩"
    const Data::String shared = plain;
    // shared => "Hex bolt"
    const Data::String literal = QStringLiteral("M16");
    // literal => "M16"
    static const QChar raw[] = {'r', 'a', 'w', '!'};
    const Data::String borrowed = QString::fromRawData(raw, 3);
    // borrowed => "raw"
    const Data::String half = QString(QChar(0xD83D));
    // half => "\ud83d"
    const Data::String zero = QString::fromLatin1("a\0b", 3);
    // zero => "a\0b"
    const Data::String longText = QString("1234 ").repeated(100);
    // longText => "1234 1234 1234 1234 1234 1234 1234 1234 1234 1234 1234 1234 1234 1234 1234 1234
    //     1234 1234 1234 1234 1234 1234 1234 1234 1234 1234 1234 1234 1234 1234 1234 1234 1234 1234
    //     1234 1234 1234 1234 1234 1234 "...
    const Data::String &reference = plain;
    // reference => "Hex bolt"
    const Data::String *const pointer = &plain;
    // *pointer => "Hex bolt"

    Data::String overrun("overrun");
    overrun.data()[overrun.size()] = '!'; // where the text must end
    // overrun => <invalid>
    const Room<Data::String> zeros(0);
    // *(Data::String *)zeros.bytes => <invalid>
    const Room<Data::String> ones(0xFF);
    // *(Data::String *)ones.bytes => <invalid>
    const Room<Data::String> stack(0xA5);
    // *(Data::String *)stack.bytes => <invalid>
    [[maybe_unused]] const auto destroyed =
        Room<Data::String>::destroyed("This text has been destroyed");
    // *(Data::String *)destroyed.bytes => <invalid>
    look();
    return empty.size() + longText.size() + reference.size() + pointer->size();
}

static int variants()
{
    const Data::Variant invalid;
    // invalid => invalid variant
    const Data::Variant integer(-42);
    // integer => -42
    const Data::Variant real(0.1);
    // real => 0.1
    const Data::Variant whole(3.0);
    // whole => 3.0
    const Data::Variant yes(true);
    // yes => true
    const Data::Variant text("M16");
    // text => "M16"
    const Data::Variant list(QStringList{"a", "b"});
    // list => {"a", "b"}
    const Data::Variant noList(QStringList{});
    // noList => {}
    const Data::Variant orange(QColor(255, 128, 0));
    // orange => #ff8000
    const Data::Variant large(QVariant(Q_INT64_C(-5000000000)));
    // large => -5000000000
    const Data::Variant bytes(QVariant(QByteArray("b\xFF")));
    // bytes => "b\\xff"
    const Data::Variant mixed(QVariant(QVariantList{1, "two", QVariantList{3.5, false}}));
    // mixed => {1, "two", {3.5, false}}
    const Data::Variant named(QVariant(QVariantMap{{"a", 1}, {"b", "c"}}));
    // named => {["a"] = 1, ["b"] = "c"}
    const Data::Variant string(QVariant::fromValue(Data::String("ours")));
    // string => "ours"
    const Data::Variant collection(QVariant::fromValue(payload()));
    // collection => {["isNew"] = true, ["path"] = "a.csv", ["rows"] = 3, ["share"] = 0.25}
    const Data::Variant date(QVariant(QDate(2020, 3, 4)));
    // date => <QDate>
    QVariantList deep;
    for (int i = 0; i < 9; ++i)
        deep = QVariantList{QVariant(deep)};
    const Data::Variant nested{QVariant(deep)};
    // nested => {{{{{...}}}}}

    const Data::VariantCollection none;
    // none => no values
    const Data::VariantCollection one{{"key", 1}};
    // one => 1 value = {["key"] = 1}
    const Data::VariantCollection four = payload();
    // four => 4 values = {["isNew"] = true, ["path"] = "a.csv", ["rows"] = 3, ["share"] = 0.25}

    const Room<Data::Variant> ones(0xFF);
    // *(Data::Variant *)ones.bytes => <invalid>
    const Room<Data::Variant> stack(0xA5);
    // *(Data::Variant *)stack.bytes => <invalid>
    [[maybe_unused]] const auto destroyed = Room<Data::Variant>::destroyed("destroyed");
    // *(Data::Variant *)destroyed.bytes => invalid variant
    const Room<Data::VariantCollection> zeros(0);
    // *(Data::VariantCollection *)zeros.bytes => <invalid>
    const Room<Data::VariantCollection> noise(0xA5);
    // *(Data::VariantCollection *)noise.bytes => <invalid>
    look();
    return none.size() + one.size() + four.size();
}

static int values()
{
    const Data::Color none;
    // none => invalid colour
    const Data::Color red(255, 0, 0);
    // red => #ff0000
    const Data::Color faint(1, 2, 3, 64);
    // faint => #010203, alpha 64
    const Data::Color hue = QColor::fromHsv(120, 255, 128);
    // hue => hsv(120, 255, 128), alpha 255
    const Room<Data::Color> stack(0xA5);
    // *(Data::Color *)stack.bytes => <invalid>

    const Utils::DateTime never(0.0);
    // never => no time (0.0)
    const Utils::DateTime time(1583298367.25);
    // time => 2020-03-04 05:06:07.250 UTC (1583298367.25)
    const Utils::DateTime notANumber(qQNaN());
    // notANumber => no time (nan)
    const Utils::DateTime far(1e300);
    // far => 1e+300 s
    look();
    return none.red() + red.red() + faint.red() + hue.red() + int(never.timeId() + time.timeId()) +
           notANumber.isValid() + far.isValid();
}

static int tags()
{
    Utils::TagFile file("materials.tag");
    file.addTag("STEEL", "").add("name", "S235").add("E", 210000);
    file.addTag("EMPTY", "");
    // file => TagFile "materials.tag", 2 tags = {
    //     Tag "STEEL", 2 properties = {["name"] = "S235", ["E"] = "210000"}, Tag "EMPTY", 0
    //     properties}
    const Utils::TagFile::Tag &steel = file.tag(0);
    // steel => Tag "STEEL", 2 properties = {["name"] = "S235", ["E"] = "210000"}
    Utils::TagFile many;
    for (int i = 0; i < 1000; ++i)
        many.addTag(QString("T%1").arg(i), "");
    const Utils::TagFile none;
    // none => TagFile "", 0 tags

    const Room<Utils::TagFile> zeros(0);
    // *(Utils::TagFile *)zeros.bytes => <invalid>
    const Room<Utils::TagFile> stack(0xA5);
    // *(Utils::TagFile *)stack.bytes => <invalid>
    [[maybe_unused]] const auto destroyed = Room<Utils::TagFile>::destroyed("gone.tag");
    // *(Utils::TagFile *)destroyed.bytes => <invalid>
    const Room<Utils::TagFile::Tag> noTag(0xA5);
    // *(Utils::TagFile::Tag *)noTag.bytes => <invalid>
    const auto lost = Room<Utils::TagFile::Tag>::destroyed(*&steel);
    look();
    return steel.numProps() + none.numTags() + many.numTags() + lost.bytes[0];
}

static int tables()
{
    Utils::CSVTable empty;
    // empty => CSVTable 0 rows, 0 columns, as text
    Utils::CSVTable text(";");
    text.setData("Name;Length;Remark\n bolt ;20.5;\"a;b\"\nnut;8", /*quoted=*/true);
    // text => CSVTable 3 rows, 3 columns, as text = {row 0 = {"Name", "Length", "Remark"},
    //     row 1 = {"bolt", "20.5", "\"a;b\""}, row 2 = {"nut", "8"}}
    Utils::CSVTable edited(";");
    edited.setData("\nc;d\ne;f");
    edited.setData(1, 2, "new");
    edited.removeEmptyRows();
    // edited => CSVTable 2 rows, 3 columns, as text = {row 0 = {"c", "d", "new"},
    //     row 1 = {"e", "f"}}
    Utils::CSVTable sorted(";");
    sorted.setData("b;2\nc;3\na;1");
    sorted.sort(0);
    // sorted => CSVTable 3 rows, 2 columns, as text = {row 0 = {"a", "1"}, row 1 = {"b", "2"},
    //     row 2 = {"c", "3"}}
    Utils::CSVTable wide(";");
    wide.setData("\xC2\xB5;\xE2\x82\xAC\n1;2");
    // wide => CSVTable 2 rows, 2 columns, as text = {row 0 = {"µ", "€"}, row 1 = {"1", "2"}}
    Utils::CSVTable unsplit(";");
    unsplit.setDemandParse(true);
    unsplit.setData("a;b\nc;d");
    // unsplit => CSVTable 2 rows not split, as text = {row 0 = {"a;b"}, row 1 = {"c;d"}}

    write("small.csv", "bolt;20.5\n", 3);
    Utils::CSVTable fromFile(";");
    fromFile.read("small.csv");
    // fromFile => CSVTable 5 rows, 2 columns, as text, "small.csv" = {row 0 = {"Name", "Length"},
    //     row 1 = {"bolt", "20.5"}, row 2 = {"bolt", "20.5"}, row 3 = {"bolt", "20.5"}, row 4 =
    //     {""}}
    Utils::CSVTable bytes(";");
    bytes.read("small.csv", 1);
    // bytes => CSVTable 5 rows, 2 columns, as bytes, "small.csv" = {row 0 = {"Name", "Length"},
    //     row 1 = {"bolt", "20.5"}, row 2 = {"bolt", "20.5"}, row 3 = {"bolt", "20.5"}, row 4 =
    //     {""}}
    Utils::CSVTable cached(";");
    cached.read("small.csv", 1);
    cached.setData(1, 0, "M16");
    // cached => CSVTable 5 rows, 2 columns, as bytes, "small.csv" = {row 0 = {"Name", "Length"},
    //     row 1 = {"M16", "20.5"}, row 2 = {"bolt", "20.5"}, row 3 = {"bolt", "20.5"}, row 4 =
    //     {""}}

    write("large.csv", "bolt;20.5\n", 200000);
    Utils::CSVTable large(";");
    large.read("large.csv");
    // large => CSVTable 200002 rows, 2 columns in the first 100, as text, "large.csv" = {
    //     row 0 = {"Name", "Length"}, row 1 = {"bolt", "20.5"}, row 2 = {"bolt", "20.5"},
    //     row 3 = {"bolt", "20.5"}, row 4 = {"bolt", "20.5"}, rows = ...}
    Utils::CSVTable unread(";");
    unread.read("large.csv", 1);
    // unread => CSVTable 200002 rows, in the file, "large.csv"
    Utils::CSVTable inFile(";");
    inFile.read("large.csv", 1);
    const bool isRead = inFile.data(0, 0) == "Name" && inFile.data(150000, 0) == "bolt";
    // inFile => CSVTable 200002 rows, 2 columns, in the file, "large.csv" = {
    //     row 0 = {"Name", "Length"}, row 150000 = {"bolt", "20.5"}}
    Utils::CSVTable missing(";");
    missing.read("missing.csv");
    // missing => CSVTable 0 rows, 0 columns, as text, "missing.csv"
    Utils::CSVTable broad(";");
    broad.setData("1;2;3;4;5;6;7;8;9");
    // broad => CSVTable 1 row, 9 columns, as text = {
    //     row 0 = {"1", "2", "3", "4", "5", "6", "7", "8", ...}}

    const Room<Utils::CSVTable> zeros(0);
    // *(Utils::CSVTable *)zeros.bytes => <invalid>
    const Room<Utils::CSVTable> stack(0xA5);
    // *(Utils::CSVTable *)stack.bytes => <invalid>
    [[maybe_unused]] const auto destroyed = Room<Utils::CSVTable>::destroyed(";");
    // *(Utils::CSVTable *)destroyed.bytes => <invalid>
    look();
    return isRead;
}

static int bus()
{
    Utils::PublicSignal opened("Opened", nullptr);
    opened.addData("path", "a.csv");
    Utils::Slot title("Title", nullptr);
    Utils::DelayedSlot recent("Recent", nullptr);
    Utils::PublicSignal lonely("Lonely", nullptr);
    // lonely => PublicSignal "Lonely", 0 receivers = {payload = no values}
    opened.connect(&title);
    opened.connect(&recent);
    recent.setEnabled(false);
    // opened => PublicSignal "Opened", 2 receivers = {payload = 1 value = {["path"] = "a.csv"},
    //     receiver 0 = Slot "Title" at ADDRESS, receiver 1 = DelayedSlot "Recent" at ADDRESS}
    // *(Utils::Signal *)&opened => PublicSignal "Opened", 2 receivers = {
    //     payload = 1 value = {["path"] = "a.csv"}, receiver 0 = Slot "Title" at ADDRESS,
    //     receiver 1 = DelayedSlot "Recent" at ADDRESS}
    // title => Slot "Title", enabled = {payload = no values,
    //     sender 0 = PublicSignal "Opened" at ADDRESS}
    // recent => DelayedSlot "Recent", disabled = {payload = no values,
    //     sender 0 = PublicSignal "Opened" at ADDRESS}
    HostSignal saved;
    Utils::Slot nameless("", nullptr);
    saved.connect(&nameless);
    // *(Utils::Signal *)&saved => HostSignal "Saved", 1 receiver = {payload = no values,
    //     receiver 0 = Slot "" at ADDRESS}
    Utils::PublicSignal closed("Closed", nullptr);
    Utils::Slot left("Left", nullptr);
    {
        Utils::Slot gone("Gone", nullptr);
        closed.connect(&gone);
        closed.connect(&left);
    }
    // closed => PublicSignal "Closed", 1 receiver = {payload = no values,
    //     receiver 0 = Slot "Left" at ADDRESS}

    Utils::PublicSignal watched("Watched", nullptr);
    int calls = 0;
    const Utils::Connection ended = watched.connect([&calls] { calls += 100; });
    watched.connect([&calls] { ++calls; });
    watched.connect([&calls](const Data::VariantCollection &) { ++calls; });
    Utils::Slot caption("Caption", nullptr);
    watched.connect(&caption, [&calls] { ++calls; });
    Utils::Connection(ended).disconnect();
    watched.sendSignals();
    // watched => PublicSignal "Watched", 3 receivers = {payload = no values,
    //     receiver 0 = function, receiver 1 = Slot "Caption" at ADDRESS, receiver 2 = function}

    Utils::PublicSignal dying("Dying", nullptr);
    Marked mark(dying);
    // dying => <invalid>
    const Room<Utils::PublicSignal> zeros(0);
    // *(Utils::PublicSignal *)zeros.bytes => <invalid>
    const Room<Utils::Slot> stack(0xA5);
    // *(Utils::Slot *)stack.bytes => <invalid>
    static auto *const noParent = static_cast<QObject *>(nullptr);
    [[maybe_unused]] const auto destroyed = Room<Utils::PublicSignal>::destroyed("Was", noParent);
    // *(Utils::PublicSignal *)destroyed.bytes => <invalid>
    [[maybe_unused]] const auto lost = Room<Utils::Slot>::destroyed("Was", noParent);
    // *(Utils::Slot *)lost.bytes => <invalid>
    look();
    return saved.flag() + calls;
}

static int settings()
{
    Utils::Settings group("Bolts");
    group.setInt("count", 12);
    group.setString("grade", "8.8");
    group.setBool("isNew", true);
    group.setInt("size", 8);
    // group => Settings "Bolts", "FOLDER/Company/Host.conf" = {["count"] = 12, ["grade"] = "8.8",
    //     ["size"] = 16}
    Utils::Settings inner("Bolts");
    inner.beginGroup("M16");
    // inner => Settings "Bolts/M16", "FOLDER/Company/Host.conf"
    Utils::Settings root;
    // root => Settings "", "FOLDER/Company/Host.conf" = {["Bolts/count"] = 12,
    //     ["Bolts/grade"] = "8.8", ["Bolts/size"] = 16, ["Workspaces/Flange/scale"] = 2.5}
    Utils::WorkspaceSettings workspace("Flange");
    workspace.setValue("scale", 2.5);
    // workspace => Settings "Workspaces/Flange", "FOLDER/Company/Host.conf" = {["scale"] = 2.5}

    const Room<Utils::Settings> zeros(0);
    // *(Utils::Settings *)zeros.bytes => <invalid>
    const Room<Utils::Settings> stack(0xA5);
    // *(Utils::Settings *)stack.bytes => <invalid>
    [[maybe_unused]] const auto destroyed = Room<Utils::Settings>::destroyed("Bolts");
    // *(Utils::Settings *)destroyed.bytes => <invalid>
    // What is on the disk and what is changed since.
    group.sync();
    group.removeKey("isNew");
    group.setInt("size", 16);
    look();
    return 0;
}

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setOrganizationName("Company");
    QCoreApplication::setApplicationName("Host");
    static const Noise noise;
    const Data::String returned = made("made");
    return strings() + variants() + values() + tags() + tables() + bus() + settings() +
           returned.size() + int(noise.words[0] & 1);
}
