// The export of a plot to a file.

#include "examples/workbench/Texts.h"
#include "examples/workbench/plot/PlotPane.h"
#include "utils/files/File.h"
#include "utils/settings/Settings.h"

#include <QBuffer>
#include <QFileDialog>
#include <QImage>
#include <QMessageBox>
#include <QPageSize>
#include <QPainter>
#include <QSvgGenerator>
#if QT_CONFIG(pdf) // not in each build of Qt
#include <QPdfWriter>
#endif

#include <qwt_plot.h>
#include <qwt_plot_renderer.h>

namespace Workbench {

using Utils::File;

static const QSizeF paper(160, 100); // of a plot, in millimetres
static const int resolution = 200;   // dots per inch
static const double inch = 25.4;     // millimetres

/// The suffixes of files, each with its format, that a plot can be written to.
static QStringList formats()
{
    QStringList formats{"png", "svg"};
#if QT_CONFIG(pdf)
    formats += "pdf";
#endif
    return formats;
}

static QByteArray picture(QwtPlot &plot, const QString &format)
{
    QwtPlotRenderer renderer;
    // Black on white, whatever the palette of the screen is.
    renderer.setDiscardFlag(QwtPlotRenderer::DiscardBackground);
    renderer.setDiscardFlag(QwtPlotRenderer::DiscardCanvasBackground);
    renderer.setDiscardFlag(QwtPlotRenderer::DiscardCanvasFrame);
    const QPalette onScreen = plot.palette();
    plot.setPalette(QPalette(Qt::lightGray)); // and the colours of the items with it
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    const QSize dots = (paper * resolution / inch).toSize();
    const QRectF page(QPointF(), dots);
    // The margins, which texts of axes need, are left out with the background.
    const QMarginsF margins = QMarginsF(plot.contentsMargins()) * resolution / plot.logicalDpiX();
    const QRectF area = page.marginsRemoved(margins);

    if (format == "svg") {
        QSvgGenerator generator;
        generator.setOutputDevice(&buffer);
        generator.setResolution(resolution);
        generator.setSize(dots);
        generator.setViewBox(page);
        QPainter painter(&generator);
        renderer.render(&plot, &painter, area);
#if QT_CONFIG(pdf)
    } else if (format == "pdf") {
        QPdfWriter writer(&buffer);
        writer.setPageSize(QPageSize(paper, QPageSize::Millimeter));
        writer.setPageMargins(QMarginsF());
        writer.setResolution(resolution);
        QPainter painter(&writer);
        renderer.render(&plot, &painter, area);
#endif
    } else {
        QImage image(dots, QImage::Format_RGB32);
        image.setDotsPerMeterX(static_cast<int>(resolution / inch * 1000));
        image.setDotsPerMeterY(image.dotsPerMeterX());
        image.fill(Qt::white);
        QPainter painter(&image);
        renderer.render(&plot, &painter, area);
        painter.end();
        image.save(&buffer, "PNG");
    }
    plot.setPalette(onScreen);
    return bytes;
}

bool PlotPane::exportTo(const QString &path) const
{
    const QByteArray bytes = picture(*m_plot, File::extension(path).toLower());
    return File::writeSafely(path, bytes);
}

void PlotPane::askForExport()
{
    const QString folder = Utils::Settings("Plot").getString("folder", "");
    QStringList filters;
    for (const QString &format : formats())
        filters += format.toUpper() + " (*." + format + ")";
    QString path =
        QFileDialog::getSaveFileName(this, text(".ctx.exportTitle"), folder, filters.join(";;"));
    if (path.isEmpty())
        return;
    if (!formats().contains(File::extension(path).toLower()))
        path += ".png";
    Utils::Settings("Plot").setString("folder", File::parentFolder(path));
    if (!exportTo(path))
        QMessageBox::warning(this, text(".ctx.exportTitle"), File::lastError());
}

} // namespace Workbench
