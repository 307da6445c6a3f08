#include "examples/workbench/script/Highlighting.h"

#include <KSyntaxHighlighting/Definition>
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
