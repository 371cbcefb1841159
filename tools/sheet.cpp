// Contact sheet: a grid of cells, each picture scaled to fit its cell over a checkerboard (so
// transparency shows), its file name underneath.
#include "sheet.h"

#include "draw.h"
#include "pngfile.h"

#include <algorithm>  // Required for: std::min()

namespace {

const int columns = 5, cellWidth = 300, cellHeight = 230, pad = 14, labelHeight = 28;

void fillChecker(cairo_t* cr, double x, double y, double w, double h)
{
    fillRect(cr, x, y, w, h, 0x9A9A9A);
    for (int j = 0; j * 12 < h; ++j)
        for (int i = (j % 2); i * 12 < w; i += 2)
            fillRect(cr, x + i * 12, y + j * 12, std::min(12.0, w - i * 12), std::min(12.0, h - j * 12), 0xC8C8C8);
}

void drawCell(cairo_t* cr, double x, double y, const Thumbnail& thumbnail)
{
    const Canvas& picture = *thumbnail.picture;
    const double boxW = cellWidth - 2 * pad, boxH = cellHeight - 2 * pad - labelHeight;
    const double scale = std::min(boxW / picture.width(), boxH / picture.height());
    const double w = picture.width() * scale, h = picture.height() * scale;
    const double px = x + pad + (boxW - w) / 2, py = y + pad + (boxH - h) / 2;
    fillChecker(cr, px, py, w, h);
    cairo_save(cr);
    cairo_translate(cr, px, py);
    cairo_scale(cr, scale, scale);
    cairo_set_source_surface(cr, picture.surface(), 0, 0);
    cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_GOOD);
    cairo_paint(cr);
    cairo_restore(cr);
    textCentred(cr, Font::Sans, 15, x + cellWidth / 2.0, y + cellHeight - pad - 6, thumbnail.label, 0xE8E8E8);
}

}  // namespace

void writeContactSheet(const std::string& path, const std::vector<Thumbnail>& thumbnails)
{
    const int rows = int((thumbnails.size() + columns - 1) / columns);
    Canvas sheet(columns * cellWidth, rows * cellHeight);
    fillRect(sheet.cr(), 0, 0, sheet.width(), sheet.height(), 0x2A2A2E);
    for (size_t i = 0; i < thumbnails.size(); ++i)
        drawCell(sheet.cr(), double(i % columns) * cellWidth, double(i / columns) * cellHeight, thumbnails[i]);
    writePng(path, sheet.width(), sheet.height(), sheet.rgba());
}
