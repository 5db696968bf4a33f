// What the pictures of waterfall and spectrum share: margins, heading, the frequency axis below, marked
// stations above.
#pragma once
#include "spectra/axis.h"
#include "spectra/canvas.h"
#include "spectra/marks.h"

namespace client::spectra {
struct PlotOptions {
    std::string title, subtitle;
    std::vector<Mark> marks;
    int depth = 8;
    int right_margin = 20; // pixels
};

class Plot {
public:
    // A field of so many pixels, whose columns share the frequencies from low to high in Hz.
    Plot(const PlotOptions& options, int width, int height, double low, double high);

    Canvas canvas;
    Axis across;     // Hz
    int top, bottom; // the field's first and last row
    int left() const { return across.first; }
    int right() const { return across.first + across.pixels - 1; }

    // Columns of the field at labelled frequencies, and at carriers.
    const std::vector<int>& grid() const { return grid_; }
    const std::vector<int>& carriers() const { return carriers_; }

    // The axis at the field's left edge, top value first if it falls: labels, ticks, and the unit above.
    void draw_left_axis(const Axis& down, const Ticks& ticks);
    // The frame around the field; after the field is drawn.
    void draw_frame();

private:
    struct Label;
    static std::vector<Label> place_labels(const PlotOptions& options, const Axis& across);
    static int label_rows(const std::vector<Label>& labels);
    Plot(const PlotOptions& options, const Axis& across, int height, const std::vector<Label>& labels);
    void draw_marks(const std::vector<Label>& labels);
    void draw_bottom_axis();

    std::vector<int> grid_, carriers_;
};
} // namespace client::spectra
