// Contact sheet: a grid of cells, each picture scaled to fit its cell over a checkerboard (so
// transparency shows), its file name underneath; then the layered scenes composed as the
// demo stacks them.
#include "sheet.h"

#include "draw.h"
#include "pngfile.h"

#include <algorithm>

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

// The layered scenes at rest, bottom layer first.
const std::vector<std::vector<std::string>> compositions = {
    {"intro_bg.png", "intro_fluer.png", "intro_hale.png", "intro_mann.png", "intro_arm1.png", "intro_hest.png"},
    {"bg.png", "scroll1.png", "scroll2.png", "scroll3.png", "ri_hest_ri0.png"},
    {"guillotine.png", "guillotine_head.png", "guillotine_blad.png"},
};

const Canvas& find(const std::vector<Thumbnail>& thumbnails, const std::string& label)
{
    for (const Thumbnail& thumbnail : thumbnails)
        if (thumbnail.label == label) return *thumbnail.picture;
    return *thumbnails.front().picture;
}

Thumbnail compose(const std::vector<Thumbnail>& thumbnails, const std::vector<std::string>& layers)
{
    const Canvas& bottom = find(thumbnails, layers.front());
    auto canvas = std::make_unique<Canvas>(bottom.width(), bottom.height());
    for (const std::string& layer : layers) {
        cairo_set_source_surface(canvas->cr(), find(thumbnails, layer).surface(), 0, 0);
        cairo_paint(canvas->cr());
    }
    return {"composed: " + layers.front(), std::move(canvas)};
}

}  // namespace

void writeContactSheet(const std::string& path, std::vector<Thumbnail> thumbnails)
{
    for (const std::vector<std::string>& layers : compositions) thumbnails.push_back(compose(thumbnails, layers));
    const int rows = int((thumbnails.size() + columns - 1) / columns);
    Canvas sheet(columns * cellWidth, rows * cellHeight);
    fillRect(sheet.cr(), 0, 0, sheet.width(), sheet.height(), 0x2A2A2E);
    for (size_t i = 0; i < thumbnails.size(); ++i)
        drawCell(sheet.cr(), double(i % columns) * cellWidth, double(i / columns) * cellHeight, thumbnails[i]);
    writePng(path, sheet.width(), sheet.height(), sheet.rgba());
}
