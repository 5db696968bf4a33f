// LMS on wide vectors of doubles, once for all sets, in the words of core/wide.h: each lms_<set>.cpp includes
// this file in a namespace that has them and
//
//   samples(p)                16-bit values, each in the lowest word of a 64-bit lane that is 0 above
//   larger(a, b)              the larger magnitude, lane by lane; a is not negative
//   unless_equal(v, a, b)     v, but 0 in lanes where a = b
//   within(v, limit)          whether all lanes are below limit
//   Errors, errors(x, sums)   x - (s >> 15) in every lane, where s is all lanes of sums together
//   reals(errors), first(errors)
//
// The loop works one sample ahead: as it updates the coefficients with sample n it multiplies them with the
// window of sample n + 1, so each is loaded and stored once a sample.

constexpr int lanes = width<Reals>;

// All windows of a piece as doubles. What follows the last one is multiplied by 0, so it must be a number.
ZV_SET void fill_window(const WideTables& tables, const int16_t* h16, uint32_t taps, uint32_t count)
{
    std::copy_n(h16, taps + count - 1, tables.window);
    std::fill_n(tables.window + taps + count - 1, padded(taps) - taps, 0.0);
}

// Takes count samples, at most a piece, from x; the window of the first is h16. The coefficients are
// tables.past, before and after.
ZV_SET void run_piece(ZVLMS1616* self, WideTables& tables, const int16_t* h16, const int16_t* x, int16_t* out,
                      uint32_t count)
{
    constexpr uint32_t both = 2 * lanes;
    const uint32_t taps = self->taps_count, last = (taps - 1) / both * both;
    const extended keep_exactly = 1 - extended(self->leakage), keep_bits = keep_exactly * 0x1p36L;
    const Reals keep = all<Reals>(static_cast<double>(keep_exactly));
    // keep * c is exact if keep has few bits. Where nothing is added to it, by a sample or an error of 0, a
    // tie is one for sure.
    const bool exact = keep_bits == rintl(keep_bits);
    const Reals sure_sample = all<Reals>(exact ? 0 : 0.5);

    QWords used[2]; // lanes of the last two vectors that hold coefficients
    for (uint32_t k = 0; k < both; ++k) used[k / lanes][k % lanes] = last + k < taps ? UINT64_MAX : 0;

    DWords even = {}, odd = {};
    for (uint32_t i = 0; i <= last + lanes; i += lanes)
        even = multiply_add(even, Words(ties::Nearest(load<Reals>(tables.past + i)).shifted),
                            Words(samples(h16 + i)));

    Energy energy = {self->power};
    for (uint32_t n = 0; n < count; ++n, ++h16) {
        const extended window_energy = energy.window(h16[taps - 1], h16[0]);
        const double scale =
            double(self->step_size) * 32767 / static_cast<double>(window_energy + self->regularisation + 1);
        const Errors error = errors(x[n], even + odd);
        out[n] = static_cast<int16_t>(self->output_error ? first(error) : x[n] - first(error));

        const double *past = tables.past, *window = tables.window + n;
        double* const next = tables.next;
        const Reals gain = reals(error) * all<Reals>(scale);
        Reals fraction = {}, reach = {};
        const auto update = [&](DWords& sum, uint32_t i, Reals g) ZV_SET {
            const Reals sample = load<Reals>(window + i),
                        value = madd(g, sample, keep * load<Reals>(past + i));
            const ties::Nearest rounded(value);
            store(next + i, rounded.whole);
            sum = multiply_add(sum, Words(rounded.shifted), Words(samples(h16 + 1 + i)));
            fraction = larger(fraction, unless_equal(rounded.rest, sample, sure_sample));
            reach = larger(reach, value);
        };
        even = odd = DWords{};
        for (uint32_t i = 0; i < last; i += both) {
            update(even, i, gain);
            update(odd, i + lanes, gain);
        }
        update(even, last, Reals(QWords(gain) & used[0]));
        update(odd, last + lanes, Reals(QWords(gain) & used[1]));

        const bool doubt = !within(fraction, sure_fraction) && !(exact && first(error) == 0);
        if (doubt || !within(reach, sure_reach) || !(std::fabs(scale) < 0x1p100)) {
            even = odd = DWords{};
            even[0] = settle(tables, taps, Update(*self, window_energy, first(error)), window, h16 + 1);
        }
        std::swap(tables.past, tables.next);
    }
    self->power = energy.power;
}

ZV_SET void adapt_wide(ZVLMS1616* self, int16_t* out, uint32_t count)
{
    if (!wide_fits(self)) return lms_any(self, out, count);
    WideTables tables = wide_tables(self);
    const uint32_t taps = self->taps_count;
    std::copy_n(self->coefficients, taps, tables.past);
    std::fill_n(tables.past + taps, padded(taps) - taps, 0.0);
    for (uint32_t n = 0; n < count; n += piece) {
        const auto* h16 = static_cast<const int16_t*>(self->work_block) + n;
        const uint32_t part = std::min(piece, count - n);
        fill_window(tables, h16, taps, part);
        run_piece(self, tables, h16, self->input_write + n, out + n, part);
    }
    std::transform(tables.past, tables.past + taps, self->coefficients,
                   [](double c) { return static_cast<int16_t>(c); });
    move_history(self, count);
}
