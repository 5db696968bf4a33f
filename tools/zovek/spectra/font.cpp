// Each letter is written as strokes, separated by blanks, of points: a digit for x, a letter for y, counted
// from the top of capitals (a) down; i is the base line, c the top of small letters, k the lowest. A point
// with a capital letter lies on the stroke, one with a small letter is the control point of a quadratic
// Bezier curve; between two control points the stroke passes through their middle. * closes a stroke.
#include "spectra/font.h"
#include <algorithm>
#include <cctype>
#include <cmath>
#include <vector>

namespace client::spectra {
namespace {
// clang-format off
constexpr const char* glyphs[] = {
    /*   */ "",                                /* ! */ "0A0F 0I0I",
    /* " */ "0A0C 2A2C",                       /* # */ "1B1H 3B3H 0D4D 0F4F",
    /* $ */ "4C4b0b0e4e4h0h0G 2A2I",           /* % */ "0a2a2c0c* 3g5g5i3i* 5A0I",
    /* & */ "5I1C1a3a3c0f0i3i5E",              /* ' */ "0A0C",
    /* ( */ "2A0c0g2I",                        /* ) */ "0A2c2g0I",
    /* * */ "2B2F 0C4E 4C0E",                  /* + */ "0E4E 2C2G",
    /* , */ "1H0J",                            /* - */ "0E3E",
    /* . */ "0I0I",                            /* / */ "4A0I",
    /* 0 */ "0a4a4i0i*",                       /* 1 */ "0C2A2I 0I4I",
    /* 2 */ "0C0a4a4d0I4I",                    /* 3 */ "0B0a4a4e2E 2E4e4i0i0H",
    /* 4 */ "3I3A0F4F",                        /* 5 */ "4A0A0D2D4d4i0i0H",
    /* 6 */ "4B4a0a0i4i4d0d0F",                /* 7 */ "0A4A1I",
    /* 8 */ "0a4a4e0e* 0e4e4i0i*",             /* 9 */ "0H0i4i4a0a0f4f4D",
    /* : */ "0D0D 0H0H",                       /* ; */ "1D1D 1H0J",
    /* < */ "4B0E4H",                          /* = */ "0D4D 0F4F",
    /* > */ "0B4E0H",                          /* ? */ "0B0a4a4d2F 2I2I",
    /* @ */ "5I2I0i0a6a6g4g4D 4c2c2g4g*",      /* A */ "0I3A6I 1F5F",
    /* B */ "0A0I3I5i5e3E0E 3E5e5a3A0A",       /* C */ "5B5a0a0i5i5H",
    /* D */ "0A0I2I5i5a2A0A",                  /* E */ "5A0A0I5I 0E4E",
    /* F */ "5A0A0I 0E4E",                     /* G */ "5B5a0a0i5i5E3E",
    /* H */ "0A0I 5A5I 0E5E",                  /* I */ "0A2A 1A1I 0I2I",
    /* J */ "4A4F4i0i0G",                      /* K */ "0A0I 5A0F 2D5I",
    /* L */ "0A0I5I",                          /* M */ "0I0A3E6A6I",
    /* N */ "0I0A5I5A",                        /* O */ "0a6a6i0i*",
    /* P */ "0I0A3A5a5e3E0E",                  /* Q */ "0a6a6i0i* 4G6I",
    /* R */ "0I0A3A5a5e3E0E 2E5I",             /* S */ "5B5a0a0e5e5i0i0H",
    /* T */ "0A6A 3A3I",                       /* U */ "0A0E0i5i5E5A",
    /* V */ "0A3I6A",                          /* W */ "0A2I4C6I8A",
    /* X */ "0A5I 5A0I",                       /* Y */ "0A3E6A 3E3I",
    /* Z */ "0A5A0I5I",                        /* [ */ "2A0A0I2I",
    /* \ */ "0A4I",                            /* ] */ "0A2A2I0I",
    /* ^ */ "0C2A4C",                          /* _ */ "0J5J",
    /* ` */ "0A1B",                            /* a */ "0D0c4c4E4I 4E2E0e0i4i4F",
    /* b */ "0A0I 0c4c4i0i*",                  /* c */ "4D4c0c0i4i4H",
    /* d */ "4A4I 0c4c4i0i*",                  /* e */ "0F4F4c0c0i4i4H",
    /* f */ "3A1a1C1I 0C3C",                   /* g */ "0c4c4i0i* 4C4H4k0k0J",
    /* h */ "0A0I 0E0c4c4E4I",                 /* i */ "0C0I 0A0A",
    /* j */ "2C2H2k0K 2A2A",                   /* k */ "0A0I 4C0G 2E4I",
    /* l */ "0A0G0i2I",                        /* m */ "0C0I 0E0c3c3E3I 3E3c6c6E6I",
    /* n */ "0C0I 0E0c4c4E4I",                 /* o */ "0c4c4i0i*",
    /* p */ "0C0K 0c4c4i0i*",                  /* q */ "4C4K 0c4c4i0i*",
    /* r */ "0C0I 0E0c3C",                     /* s */ "4D4c0c0f4f4i0i0H",
    /* t */ "1A1F1i3I 0C3C",                   /* u */ "0C0F0i4i4F 4C4I",
    /* v */ "0C2I4C",                          /* w */ "0C2I3D4I6C",
    /* x */ "0C4I 4C0I",                       /* y */ "0C2I 4C1K",
    /* z */ "0C4C0I4I",                        /* { */ "2A1a1e0E1e1i2I",
    /* | */ "0A0J",                            /* } */ "0A1a1e2E1e1i0I",
    /* ~ */ "0E1c3g4E",
};
// clang-format on
constexpr const char* box = "0A4A4I0I0A";
constexpr double gap = 3, blank = 4, pen = 1.3; // units: between letters, of a space, the stroke's width

struct Point {
    double x, y;
    bool on;
};
Point middle(const Point& a, const Point& b) { return {(a.x + b.x) / 2, (a.y + b.y) / 2, true}; }

const char* glyph(char c) { return c >= ' ' && c <= '~' ? glyphs[c - ' '] : box; }

double width(char c)
{
    double most = c == ' ' ? blank - gap : 0;
    for (const char* at = glyph(c); *at; ++at)
        if (std::isdigit(static_cast<unsigned char>(*at))) most = std::max(most, double(*at - '0'));
    return most;
}

// The strokes of a letter as short straight lines.
std::vector<std::vector<Point>> strokes(const char* text)
{
    std::vector<std::vector<Point>> result;
    while (*text) {
        std::vector<Point> points;
        for (; std::isdigit(static_cast<unsigned char>(*text)); text += 2) {
            const bool on = text[1] < 'a';
            points.push_back({double(text[0] - '0'), double(text[1] - (on ? 'A' : 'a')), on});
        }
        if (*text == '*') { // control points all around
            points.push_back(points.front());
            points.push_back(middle(points[0], points[1]));
            points.insert(points.begin(), points.back());
            points.erase(points.begin() + 1);
            ++text;
        }
        if (*text == ' ') ++text;
        std::vector<Point> line = {points[0]};
        for (size_t k = 1; k < points.size(); ++k) {
            const Point from = line.back(), control = points[k];
            if (control.on) {
                line.push_back(control);
                continue;
            }
            const bool last_pair = points[k + 1].on;
            const Point to = last_pair ? points[k + 1] : middle(control, points[k + 1]);
            for (int step = 1; step <= 8; ++step) {
                const double t = step / 8.0, u = 1 - t;
                line.push_back({u * u * from.x + 2 * u * t * control.x + t * t * to.x,
                                u * u * from.y + 2 * u * t * control.y + t * t * to.y, true});
            }
            if (last_pair) ++k;
        }
        result.push_back(line);
    }
    return result;
}

double distance(double x, double y, const Point& a, const Point& b)
{
    const double dx = b.x - a.x, dy = b.y - a.y, length = dx * dx + dy * dy;
    const double t = length > 0 ? std::clamp(((x - a.x) * dx + (y - a.y) * dy) / length, 0.0, 1.0) : 0;
    return std::hypot(x - a.x - t * dx, y - a.y - t * dy);
}
} // namespace

// A letter of several bytes in UTF-8 is one box.
static bool goes_on(char c) { return (c & 0xc0) == 0x80; }

double text_width(const std::string& text)
{
    double sum = 0;
    for (const char c : text)
        if (!goes_on(c)) sum += width(c) + gap;
    return text.empty() ? 0 : sum - gap + 1;
}

void draw_text(const std::string& text, double x, double y, double scale, const Dot& dot)
{
    for (const char c : text) {
        if (goes_on(c)) continue;
        const auto lines = strokes(glyph(c));
        const int left = int(std::floor(x - 1)), right = int(std::ceil(x + width(c) * scale + 1));
        for (int py = int(std::floor(y - cap_height * scale - 1)); py <= std::ceil(y + 2 * scale + 1); ++py)
            for (int px = left; px <= right && !lines.empty(); ++px) {
                const double ux = (px - x) / scale, uy = (py - y) / scale + cap_height;
                double nearest = 99;
                for (const auto& line : lines)
                    for (size_t k = 1; k < line.size(); ++k)
                        nearest = std::min(nearest, distance(ux, uy, line[k - 1], line[k]));
                const double cover = std::clamp(0.5 + (pen / 2 - nearest) * scale, 0.0, 1.0);
                if (cover > 0) dot(px, py, cover);
            }
        x += (width(c) + gap) * scale;
    }
}
} // namespace client::spectra
