// Prints what the meta-objects of a library's classes hold, in the order of their indices:
// meta_objects LIBRARY SYMBOL..., where each symbol is that of a staticMetaObject.
//
// Signals and slots are connected by index, so their order is a part of the binary interface.

#include <QLibrary>
#include <QMetaEnum>
#include <QMetaMethod>
#include <QMetaObject>
#include <QMetaProperty>

#include <cstdio>

static void printMethods(const QMetaObject &object)
{
    static const char *const kinds[] = {"method", "signal", "slot", "constructor"};
    for (int i = object.methodOffset(); i < object.methodCount(); ++i) {
        const QMetaMethod method = object.method(i);
        std::printf("%s: %s %d: %s %s\n", object.className(), kinds[method.methodType()],
                    i - object.methodOffset(), method.typeName(),
                    method.methodSignature().constData());
    }
    for (int i = 0; i < object.constructorCount(); ++i)
        std::printf("%s: constructor %d: %s\n", object.className(), i,
                    object.constructor(i).methodSignature().constData());
}

static void printProperties(const QMetaObject &object)
{
    for (int i = object.propertyOffset(); i < object.propertyCount(); ++i) {
        const QMetaProperty property = object.property(i);
        std::printf("%s: property %d: %s %s\n", object.className(), i - object.propertyOffset(),
                    property.typeName(), property.name());
    }
}

static void printEnumerators(const QMetaObject &object)
{
    for (int i = object.enumeratorOffset(); i < object.enumeratorCount(); ++i) {
        const QMetaEnum enumerator = object.enumerator(i);
        for (int key = 0; key < enumerator.keyCount(); ++key)
            std::printf("%s: enum %s: %s = %d\n", object.className(), enumerator.name(),
                        enumerator.key(key), enumerator.value(key));
    }
}

int main(int argc, char *argv[])
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: meta_objects LIBRARY SYMBOL...\n");
        return 2;
    }
    QLibrary library(QString::fromLocal8Bit(argv[1]));
    for (int i = 2; i < argc; ++i) {
        const auto *object = reinterpret_cast<const QMetaObject *>(library.resolve(argv[i]));
        if (!object) {
            std::fprintf(stderr, "meta_objects: %s\n", qPrintable(library.errorString()));
            return 1;
        }
        std::printf("%s: a %s\n", object->className(), object->superClass()->className());
        printMethods(*object);
        printProperties(*object);
        printEnumerators(*object);
    }
    return 0;
}
