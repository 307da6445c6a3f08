#include "examples/workbench/script/Highlighting.h"

#include "examples/workbench/Contrast.h"

#include <KSyntaxHighlighting/Definition>
#include <KSyntaxHighlighting/Format>
#include <KSyntaxHighlighting/Repository>
#include <KSyntaxHighlighting/SyntaxHighlighter>
#include <KSyntaxHighlighting/Theme>

#include <QEvent>
#include <QPlainTextEdit>

namespace Workbench {

namespace {

/// The highlighter of an editor, whose colours follow the palette.
class Highlighter : public KSyntaxHighlighting::SyntaxHighlighter
{
public:
    explicit Highlighter(QPlainTextEdit &editor)
        : SyntaxHighlighter(editor.document()), m_editor(editor)
    {
        setTheme(repository().themeForPalette(editor.palette()));
        setDefinition(repository().definitionForName("Python"));
        editor.installEventFilter(this);
    }

    bool eventFilter(QObject *object, QEvent *event) override
    {
        if (event->type() == QEvent::PaletteChange) {
            setTheme(repository().themeForPalette(m_editor.palette()));
            rehighlight();
        }
        return SyntaxHighlighter::eventFilter(object, event);
    }

protected:
    /// Some colours of the themes are too pale to read.
    void applyFormat(int offset, int length, const KSyntaxHighlighting::Format &format) override
    {
        SyntaxHighlighter::applyFormat(offset, length, format);
        QTextCharFormat shown = this->format(offset);
        if (length == 0 || !shown.hasProperty(QTextFormat::ForegroundBrush))
            return;
        shown.setForeground(
            readable(shown.foreground().color(), m_editor.palette().color(QPalette::Base)));
        setFormat(offset, length, shown);
    }

private:
    /// Knows the languages and themes, which takes time to find out.
    static KSyntaxHighlighting::Repository &repository()
    {
        static KSyntaxHighlighting::Repository repository;
        return repository;
    }

    QPlainTextEdit &m_editor;
};

} // namespace

void highlightPython(QPlainTextEdit &editor) { new Highlighter(editor); }

} // namespace Workbench
