#include "examples/workbench/Host.h"

#include "examples/workbench/ProgressDisplay.h"
#include "utils/feedback/Progress.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QStatusBar>

#include <cstdio>

namespace Workbench {

using Utils::Progress;

static const int eventInterval = 20; // milliseconds; more often would only slow the task down
static const int messageTime = 5000; // milliseconds

static Host *theHost = nullptr;

Host::Host(const QMap<QString, QString> &variables) : m_variables(variables) { theHost = this; }
Host::~Host() { theHost = nullptr; }

Host *Host::instance() { return theHost; }

void Host::setWindow(QWidget *window, QStatusBar *bar)
{
    m_window = window;
    m_bar = bar;
    m_ordinary = new ProgressDisplay(ProgressDisplay::Form::StatusBar, bar);
    bar->addPermanentWidget(m_ordinary);
    m_popup = new ProgressDisplay(ProgressDisplay::Form::Window, window);
    for (ProgressDisplay *const display : {m_ordinary.data(), m_popup.data()}) {
        display->hide();
        connect(display, &ProgressDisplay::cancelled, this, &Host::cancel);
    }
}

Data::String Host::getVariable(const char *key, const Data::String &defaultValue)
{
    return m_variables.value(QString::fromUtf8(key), defaultValue);
}

/// The last line of \p text that says something: of a traceback, that is the error.
static QString lastLine(const QString &text) { return text.trimmed().section('\n', -1).trimmed(); }

void Host::showMessage(const Data::String &text, bool)
{
    if (m_bar)
        m_bar->showMessage(lastLine(text), messageTime); // it has one line
}

void Host::logMessage(const Data::String &text, int level)
{
    if (m_variables.value("verbose").toInt() >= level)
        std::fprintf(stderr, "%s\n", qPrintable(text));
}

void Host::setProgress(int count, int maxSteps, bool popup)
{
    if (ProgressDisplay *const shown = display(popup)) {
        Progress *const task = Progress::current(popup);
        shown->setProgress(count, maxSteps, task ? task->whole()->remaining() : -1);
    }
    handleEvents();
}

void Host::setProgressLabel(const Data::String &text, bool popup)
{
    if (ProgressDisplay *const shown = display(popup))
        shown->setLabel(text);
    // The last task sets the label of none when it ends.
    if (!Progress::any() && m_closesAfterTask) {
        m_closesAfterTask = false;
        QMetaObject::invokeMethod(m_window, "close", Qt::QueuedConnection);
    }
}

void Host::showProgress(bool visible, bool cancelable, bool popup)
{
    if (ProgressDisplay *const shown = display(popup)) {
        shown->setCancelable(cancelable);
        shown->setVisible(visible);
    }
    handleEvents();
}

ProgressDisplay *Host::display(bool popup) const { return popup ? m_popup : m_ordinary; }

void Host::cancel()
{
    if (Progress *const task = Progress::any())
        task->cancel();
    Q_EMIT cancelled();
}

void Host::handleEvents()
{
    const bool isEarly = m_sinceEvents.isValid() && m_sinceEvents.elapsed() < eventInterval;
    if (m_isHandlingEvents || isEarly || !m_window || !Progress::any())
        return;
    m_isHandlingEvents = true;
    QCoreApplication::instance()->installEventFilter(this);
    QCoreApplication::processEvents();
    QCoreApplication::instance()->removeEventFilter(this);
    m_isHandlingEvents = false;
    m_sinceEvents.start();
}

bool Host::isForUs(QObject *object) const
{
    for (; object; object = object->parent()) {
        if (object == m_popup || object == m_ordinary ||
            object->property("usableDuringTasks").toBool())
            return true;
    }
    return false;
}

bool Host::eventFilter(QObject *object, QEvent *event)
{
    if (!object->isWidgetType() && event->type() != QEvent::Shortcut)
        return false;
    switch (event->type()) {
    case QEvent::KeyPress:
        if (static_cast<QKeyEvent *>(event)->key() == Qt::Key_Escape) {
            cancel();
            return true; // otherwise each parent would get the key and cancel again
        }
        return !isForUs(object);
    case QEvent::Shortcut:
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::Wheel:
    case QEvent::KeyRelease:
    case QEvent::ShortcutOverride:
    case QEvent::ContextMenu:
    case QEvent::DragEnter:
    case QEvent::Drop:
    case QEvent::TouchBegin:
        return !isForUs(object);
    case QEvent::Close:
        if (object != m_window)
            return false;
        cancel();
        m_closesAfterTask = true;
        event->ignore();
        return true;
    default:
        return false;
    }
}

} // namespace Workbench
