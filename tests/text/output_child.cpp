// Takes its arguments in order, and prints a line for each but the first two kinds:
//
//   TQA_TESTING=yes   sets the variable
//   locale=de_DE      sets the default locale
//   output=1.5        output() of the number
//   display=1.5       display() of the number
//   percent=0.5       formatPercent() of the number, without decimals
//   number=1.5        the double that displayNumber() reads from the text

#include "utils/text/StringUtil.h"

#include <QLocale>

#include <cstdio>

using Utils::StringUtil;

static void print(const QString &text) { std::printf("%s\n", text.toUtf8().constData()); }

int main(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        const QString argument = QString::fromUtf8(argv[i]);
        const QString name = argument.section('=', 0, 0);
        const QString value = argument.section('=', 1);
        if (name == "TQA_TESTING")
            qputenv("TQA_TESTING", value.toUtf8());
        else if (name == "locale")
            QLocale::setDefault(QLocale(value));
        else if (name == "output")
            print(StringUtil::output(value.toDouble()));
        else if (name == "display")
            print(StringUtil::display(value.toDouble()));
        else if (name == "percent")
            print(StringUtil::formatPercent(value.toDouble(), 0));
        else if (name == "number")
            print(QString::number(StringUtil::displayNumber(value)));
        else
            return 1;
    }
}
