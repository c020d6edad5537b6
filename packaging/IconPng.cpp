// icon-png: renders the program's SVG icon into the PNG sizes of the hicolor icon
// theme, for desktops and software centres that do not read SVG.
//
//     icon-png <icon.svg> <hicolor folder> <name> <size>...
//
// writes <hicolor folder>/<size>x<size>/apps/<name>.png for each size.

#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSaveFile>
#include <QSvgRenderer>

#include <cstdio>

namespace {

int complain(const QString& message)
{
    std::fprintf(stderr, "icon-png: %s\n", qPrintable(message));
    return 1;
}

} // namespace

int main(int argc, char* argv[])
{
    QGuiApplication application(argc, argv);
    const QStringList arguments = QGuiApplication::arguments();
    if (arguments.size() < 5)
        return complain(QStringLiteral("usage: icon-png <icon.svg> <hicolor folder> <name> <size>..."));

    QSvgRenderer renderer(arguments.at(1));
    if (!renderer.isValid())
        return complain(QStringLiteral("cannot read %1").arg(arguments.at(1)));

    for (const QString& sizeText : arguments.mid(4)) {
        bool isNumber = false;
        const int size = sizeText.toInt(&isNumber);
        if (!isNumber || size < 1 || size > 1024)
            return complain(QStringLiteral("not an icon size: %1").arg(sizeText));

        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        renderer.render(&painter);
        painter.end();

        const QString folder = QStringLiteral("%1/%2x%2/apps").arg(arguments.at(2)).arg(size);
        if (!QDir().mkpath(folder))
            return complain(QStringLiteral("cannot make %1").arg(folder));
        // Written whole or not at all, so the build never takes a cut picture as up to date.
        QSaveFile file(folder + QLatin1Char('/') + arguments.at(3) + QStringLiteral(".png"));
        if (!file.open(QIODevice::WriteOnly) || !image.save(&file, "PNG") || !file.commit())
            return complain(QStringLiteral("cannot write %1: %2").arg(file.fileName(), file.errorString()));
    }
    return 0;
}
