#include "spectra/plot.h"
#include "io/talk.h"
#include "spectra/font.h"
#include <algorithm>

namespace client::spectra {
namespace {
constexpr int left_margin = 72, bottom_margin = 50, heading = 56, label_row = 30, mark_foot = 12; // pixels
} // namespace

// From left to right, each in the lowest row in which it touches none.
std::vector<Plot::Label> Plot::place_labels(const std::vector<Mark>& all, const Axis& across)
{
    std::vector<const Mark*> marks;
    for (const Mark& mark : all)
        if (across.holds(mark.frequency))
            marks.push_back(&mark);
        else
            say("the mark at " + frequency_text(mark.frequency) + " lies outside the band shown");
    std::stable_sort(marks.begin(), marks.end(),
                     [](auto* a, auto* b) { return a->frequency < b->frequency; });
    std::vector<Label> labels;
    for (const Mark* mark : marks) {
        const int half = int(std::max(text_width(mark->title()), text_width(mark->about())) / 2) + 1;
        const int least = 4 + half, most = across.first + across.pixels + 16 - half;
        const int middle = std::max(std::min(across.place(mark->frequency), most), least);
        int row = 0;
        const auto taken = [&](const Label& other) {
            return other.row == row && middle - half < other.middle + other.half + 8;
        };
        while (std::any_of(labels.begin(), labels.end(), taken)) ++row;
        labels.push_back({mark, middle, half, row});
    }
    return labels;
}

int Plot::space_over(const std::vector<Label>& labels)
{
    int space = heading;
    for (const Label& label : labels)
        space = std::max(space, heading + (label.row + 1) * label_row + mark_foot);
    return space;
}

Plot::Plot(const PictureOptions& options, const Analysis& analysis, const Field& field,
           const std::string& more)
    : across{field.low, field.high, left_margin, field.width},
      labels_(place_labels(options.marks, across)),
      canvas(left_margin + field.width + field.right_margin,
             space_over(labels_) + field.height + bottom_margin, options.depth),
      top(canvas.height() - bottom_margin - field.height),
      bottom(top + field.height - 1)
{
    canvas.text(left(), 25, options.title.empty() ? analysis.title() : options.title, Ink::text, Align::left,
                1.5);
    canvas.text(left(), 44, analysis.described() + more, Ink::dim);
    draw_marks();
    draw_bottom_axis();
}

// Labels, a stem down to the carrier, and a bar over what the mode takes in.
void Plot::draw_marks()
{
    const int bar = top - 6;
    for (const Label& label : labels_) {
        const int x = across.place(label.mark->frequency), y = top - mark_foot - label.row * label_row;
        carriers_.push_back(x);
        canvas.text(label.middle, y - 17, label.mark->title(), Ink::mark, Align::middle);
        canvas.text(label.middle, y - 4, label.mark->about(), Ink::dim, Align::middle);
        if (label.mark->mode) {
            const Sides sides = passband(*label.mark->mode);
            const int from = std::max(across.place(label.mark->frequency + sides.low), left());
            const int to = std::min(across.place(label.mark->frequency + sides.high), right());
            if (from <= to) { // else the passband lies outside the field
                canvas.fill(from, bar, to, bar + 2, shade(Ink::mark, 6));
                for (const int end : {from, to})
                    canvas.fill(end, bar - 2, end, bar + 2, shade(Ink::mark, 11));
            }
        }
        canvas.fill(x, y + 1, x, top - 2, shade(Ink::mark, 15));
    }
}

void Plot::draw_bottom_axis()
{
    const Ticks ticks = frequency_ticks(across, 80);
    for (const Tick& tick : ticks.ticks) {
        const int x = across.place(tick.value), length = tick.label.empty() ? 3 : 6;
        canvas.fill(x, bottom + 2, x, bottom + 1 + length, shade(Ink::dim, tick.label.empty() ? 8 : 15));
        if (tick.label.empty()) continue;
        grid_.push_back(x);
        canvas.text(x, bottom + 22, tick.label, Ink::text, Align::middle);
    }
    canvas.text((left() + right()) / 2, bottom + 40, "Frequency, " + ticks.unit, Ink::dim, Align::middle);
}

void Plot::draw_left_axis(const Axis& down, const Ticks& ticks)
{
    for (const Tick& tick : ticks.ticks) {
        const int y = down.place(tick.value), length = tick.label.empty() ? 3 : 6;
        canvas.fill(left() - 1 - length, y, left() - 2, y, shade(Ink::dim, tick.label.empty() ? 8 : 15));
        if (!tick.label.empty()) canvas.text(left() - 13, y + 4, tick.label, Ink::text, Align::right);
    }
    canvas.text(left() - 13, top - 10, ticks.unit, Ink::dim, Align::right);
}

void Plot::draw_frame() { canvas.frame(left() - 1, top - 1, right() + 1, bottom + 1, shade(Ink::dim, 7)); }
} // namespace client::spectra
