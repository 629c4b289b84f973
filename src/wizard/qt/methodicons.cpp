#include "wizard/qt/methodicons.h"

#include <QHash>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

// Every picture is drawn on a 32 x 32 canvas.
const QColor ink(0x30, 0x30, 0x38);
const QColor paper(0xFA, 0xFA, 0xF5);

void drawPage(QPainter &p, const QColor &fold)
{
    QPainterPath page;
    page.moveTo(7, 3);
    page.lineTo(20, 3);
    page.lineTo(26, 9);
    page.lineTo(26, 29);
    page.lineTo(7, 29);
    page.closeSubpath();
    p.setPen(QPen(ink, 1.2));
    p.setBrush(paper);
    p.drawPath(page);
    p.setBrush(fold);
    p.drawPolygon(QPolygonF({QPointF(20, 3), QPointF(20, 9), QPointF(26, 9)}));
}

void drawCylinder(QPainter &p, const QColor &body, const QColor &top)
{
    p.setPen(QPen(ink, 1.2));
    p.setBrush(body);
    p.drawRect(QRectF(6, 8, 20, 18));
    p.drawEllipse(QRectF(6, 21, 20, 8));
    p.setPen(Qt::NoPen);
    p.drawRect(QRectF(6.6, 20, 18.8, 5));
    p.setPen(QPen(ink, 1.2));
    p.drawLine(QPointF(6, 8), QPointF(6, 25));
    p.drawLine(QPointF(26, 8), QPointF(26, 25));
    p.setBrush(top);
    p.drawEllipse(QRectF(6, 4, 20, 8));
}

void drawLetter(QPainter &p, const QRectF &box, const QString &text, const QColor &colour)
{
    QFont font = p.font();
    font.setBold(true);
    font.setPixelSize(int(box.height()));
    p.setFont(font);
    p.setPen(colour);
    p.drawText(box, Qt::AlignCenter, text);
}

void drawText(QPainter &p)
{
    drawPage(p, QColor(0xD8, 0xD8, 0xD0));
    p.setPen(QPen(QColor(0x50, 0x60, 0x90), 1.5));
    for (int y = 12; y <= 25; y += 3)
        p.drawLine(QPointF(10, y), QPointF(y == 25 ? 17 : 23, y));
}

void drawExcel(QPainter &p)
{
    p.setPen(QPen(ink, 1.2));
    p.setBrush(paper);
    p.drawRect(QRectF(4, 5, 24, 22));
    p.setBrush(QColor(0x2E, 0x8B, 0x57));
    p.drawRect(QRectF(4, 5, 24, 5));
    p.setPen(QPen(QColor(0x2E, 0x8B, 0x57), 1));
    for (int x = 12; x < 28; x += 8)
        p.drawLine(QPointF(x, 10), QPointF(x, 27));
    for (int y = 15; y < 27; y += 5)
        p.drawLine(QPointF(4, y), QPointF(28, y));
}

void drawAccess(QPainter &p)
{
    drawCylinder(p, QColor(0xC0, 0x50, 0x50), QColor(0xE8, 0x90, 0x90));
    drawLetter(p, QRectF(6, 12, 20, 14), u"A"_s, Qt::white);
}

void drawSql(QPainter &p)
{
    drawCylinder(p, QColor(0x60, 0x80, 0xC0), QColor(0xA0, 0xB8, 0xE8));
    p.setPen(QPen(Qt::white, 1.5));
    p.setBrush(Qt::NoBrush);
    p.drawArc(QRectF(6, 11, 20, 8), 180 * 16, 180 * 16);
    p.drawArc(QRectF(6, 16, 20, 8), 180 * 16, 180 * 16);
}

void drawTrellis(QPainter &p)
{
    // A lattice of crossing laths.
    p.setPen(QPen(QColor(0x8B, 0x5A, 0x2B), 2.2, Qt::SolidLine, Qt::RoundCap));
    for (int offset = -16; offset <= 16; offset += 8) {
        p.drawLine(QPointF(4 + offset, 4), QPointF(28 + offset, 28));
        p.drawLine(QPointF(28 - offset, 4), QPointF(4 - offset, 28));
    }
    p.setPen(QPen(ink, 1.2));
    p.setBrush(Qt::NoBrush);
    p.drawRect(QRectF(3.5, 3.5, 25, 25));
}

void drawQuell(QPainter &p)
{
    // A scan: a sweep over rings, with a found device.
    p.setPen(QPen(QColor(0x20, 0x80, 0x40), 1.3));
    p.setBrush(QColor(0xE0, 0xF4, 0xE4));
    p.drawEllipse(QRectF(3, 3, 26, 26));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(QRectF(9, 9, 14, 14));
    p.setPen(QPen(QColor(0x20, 0x80, 0x40), 2));
    p.drawLine(QPointF(16, 16), QPointF(26, 9));
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0xD0, 0x40, 0x30));
    p.drawEllipse(QRectF(19, 18, 5, 5));
}

void drawLedger(QPainter &p)
{
    // A bound book with a gear on its cover.
    p.setPen(QPen(ink, 1.2));
    p.setBrush(QColor(0x70, 0x50, 0x90));
    p.drawRoundedRect(QRectF(6, 3, 20, 26), 2, 2);
    p.setBrush(QColor(0x50, 0x35, 0x70));
    p.drawRect(QRectF(6, 3, 4, 26));
    p.setPen(QPen(Qt::white, 2.4, Qt::SolidLine, Qt::FlatCap));
    const QPointF centre(18, 16);
    for (int spoke = 0; spoke < 4; ++spoke) {
        p.save();
        p.translate(centre);
        p.rotate(45.0 * spoke);
        p.drawLine(QPointF(-6, 0), QPointF(6, 0));
        p.restore();
    }
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    p.drawEllipse(centre, 4.2, 4.2);
    p.setBrush(QColor(0x70, 0x50, 0x90));
    p.drawEllipse(centre, 1.8, 1.8);
}

void drawTarn(QPainter &p)
{
    // A mountain lake: a peak over rippled water.
    p.setPen(QPen(ink, 1.2));
    p.setBrush(QColor(0x90, 0x90, 0x98));
    p.drawPolygon(QPolygonF(
        {QPointF(3, 20), QPointF(13, 5), QPointF(19, 13), QPointF(22, 9), QPointF(29, 20)}));
    p.setBrush(QColor(0x40, 0x90, 0xD0));
    p.drawEllipse(QRectF(3, 17, 26, 12));
    p.setPen(QPen(Qt::white, 1.2));
    p.drawLine(QPointF(9, 22), QPointF(15, 22));
    p.drawLine(QPointF(17, 25), QPointF(24, 25));
}

void drawNetworkDevice(QPainter &p)
{
    // A rack device with lit ports and an aerial.
    p.setPen(QPen(ink, 1.2));
    p.drawLine(QPointF(24, 13), QPointF(27, 4));
    p.setBrush(QColor(0x30, 0x70, 0x90));
    p.drawRoundedRect(QRectF(3, 13, 26, 12), 2, 2);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0x90, 0xF0, 0x90));
    for (int x = 6; x <= 22; x += 4)
        p.drawRect(QRectF(x, 17, 2.6, 4));
}

void drawUnknown(QPainter &p)
{
    drawPage(p, QColor(0xD8, 0xD8, 0xD0));
}

using Painter = void (*)(QPainter &);

const QHash<QString, Painter> &painters()
{
    static const QHash<QString, Painter> byKey = {
        {u"ACCESS"_s, drawAccess},    {u"TEXT"_s, drawText},   {u"SQL"_s, drawSql},
        {u"EXCEL"_s, drawExcel},      {u"TRV"_s, drawTrellis}, {u"QUELL"_s, drawQuell},
        {u"CFGLEDGER"_s, drawLedger}, {u"TARN"_s, drawTarn},   {u"CISCO"_s, drawNetworkDevice},
    };
    return byKey;
}

} // namespace

QIcon MethodIcons::icon(const QString &key)
{
    // Drawn afresh each time: nine small pictures once per wizard, and no pixmap outlives the
    // application. Each scale is drawn at its own resolution, so a 2x screen gets sharp lines
    // rather than a stretched 1x picture.
    const QString upper = key.toUpper();
    const auto draw = painters().value(upper, drawUnknown);
    QIcon icon;
    for (const int scale : DrawnScales) {
        QPixmap picture(Size * scale, Size * scale);
        picture.setDevicePixelRatio(scale);
        picture.fill(Qt::transparent);
        {
            QPainter painter(&picture);
            painter.setRenderHint(QPainter::Antialiasing);
            draw(painter);
        }
        icon.addPixmap(picture);
    }
    return icon;
}

QStringList MethodIcons::keys()
{
    return {u"Access"_s, u"Text"_s,      u"SQL"_s,  u"Excel"_s, u"TRV"_s,
            u"Quell"_s,  u"CfgLedger"_s, u"Tarn"_s, u"Cisco"_s};
}

} // namespace MGImport8
