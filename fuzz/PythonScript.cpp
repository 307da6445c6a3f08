// Scripts are checked, and never run.

#include "utils/script/PythonScript_p.h"

#include "fuzz/Input.h"
#include "tests/support/FakeHost.h"
#include "tests/support/SettingsHome.h"
#include "utils/Application.h"

#include <QCoreApplication>
#include <QRegularExpression>

static const SettingsHome home;

/// Python with a host, and no start-up program.
class Engine
{
public:
    Engine()
    {
        m_host.variables = {{"APP_PATH", "/opt/tool/app"},
                            {"PYTHON_DIR", KELMUTILS_PYTHON_HOME},
                            {"HOME_DIR", home.path()},
                            {"RES_DIR", home.path()}};
        Utils::setApplication(&m_host);
    }
    ~Engine() { Utils::setApplication(nullptr); }
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;

    bool validate(const Data::String &code)
    {
        m_host.calls.clear();
        return m_script.validate(code);
    }
    Data::String errorMessage() const { return m_script.errorMessage(); }

private:
    FakeHost m_host;
    Utils::PythonScript m_script;
};

static Engine &engine()
{
    static Engine theEngine;
    return theEngine;
}

/// Starts the interpreter, so that the first input is not the slowest.
extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    engine().validate(Data::String());
    return 0;
}

/// Whether \p code has a power of constants, which Python calculates when it compiles: 9**9**9
/// takes hours, in any program with Python.
static bool hasPowerOfConstants(const QByteArray &code)
{
    static const QRegularExpression power(QStringLiteral("[0-9a-zA-Z_.)'\"\\]}]\\s*(\\*\\*|<<)"));
    return power.match(QString::fromLatin1(code)).hasMatch();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    // Code that goes deep: a part again and again.
    const int count = 1 << input.choice(17);
    const QByteArray before = count > 1 ? input.line() + '\n' : QByteArray();
    const QByteArray part = count > 1 ? input.line() : QByteArray();
    if (part.size() * count > 50'000)
        return 0;
    const QByteArray bytes =
        before.isEmpty() ? input.rest() : before + part.repeated(count) + input.rest();
    if (hasPowerOfConstants(bytes))
        return 0;
    const Data::String code = textOf(bytes);

    const bool isValid = engine().validate(code);
    const Data::String message = engine().errorMessage();
    require(!isValid || message.isEmpty(), "there is no message when code is valid");
    requireEqual(engine().validate(code), isValid, "it is checked alike again");
    requireEqual<QString>(engine().errorMessage(), message, "with the same message");
    return 0;
}
