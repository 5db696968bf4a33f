// What the pictures of waterfall and spectrum share: margins, heading, the frequency axis below, marked
// stations above.
#pragma once
#include "spectra/axis.h"
#include "spectra/canvas.h"
#include "spectra/picture_options.h"

namespace client::spectra {
// Where the signal is drawn: its pixels, and the frequencies that its columns share, in Hz.
struct Field {
    int width, height;
    double low, high;
    int right_margin; // pixels
};

class Plot {
public:
    // more stands behind the analysis in the second line of the heading.
    Plot(const PictureOptions& options, const Analysis& analysis, const Field& field,
         const std::string& more = "");

    const Axis across; // Hz

private:
    // Where a mark's two lines of text stand.
    struct Label {
        const Mark* mark;
        int middle, half, row; // pixels; rows from the field upward
    };
    static std::vector<Label> place_labels(const std::vector<Mark>& all, const Axis& across);
    static int space_over(const std::vector<Label>& labels);
    void draw_marks();
    void draw_bottom_axis();

    const std::vector<Label> labels_;
    std::vector<int> grid_, carriers_;

public:
    Canvas canvas;
    const int top, bottom; // the field's first and last row
    int left() const { return across.first; }
    int right() const { return across.first + across.pixels - 1; }

    // Columns of the field at labelled frequencies, and at carriers.
    const std::vector<int>& grid() const { return grid_; }
    const std::vector<int>& carriers() const { return carriers_; }

    // The axis at the field's left edge, top value first if it falls: labels, ticks, and the unit above.
    void draw_left_axis(const Axis& down, const Ticks& ticks);
    // The frame around the field; after the field is drawn.
    void draw_frame();
};
} // namespace client::spectra
