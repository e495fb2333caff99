#include "sem/greypixels.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {
quint32 greyPixel(uchar level)
{
    return 0xFF000000u | level * 0x010101u;
}

#ifdef __SSE2__
template <bool pastCache> void store(__m128i *to, __m128i four)
{
    pastCache ? _mm_stream_si128(to, four) : _mm_storeu_si128(to, four);
}

// Compilers multiply where two rounds of doubling do, which takes twice as long.
template <bool pastCache> int expandSixteens(const uchar *grey, int count, quint32 *pixels)
{
    const __m128i opaque = _mm_set1_epi32(int(0xFF000000u));
    int done = 0;
    for (; done <= count - 16; done += 16) {
        const __m128i levels = _mm_loadu_si128(reinterpret_cast<const __m128i *>(grey + done));
        const __m128i low = _mm_unpacklo_epi8(levels, levels);
        const __m128i high = _mm_unpackhi_epi8(levels, levels);
        __m128i *to = reinterpret_cast<__m128i *>(pixels + done);
        store<pastCache>(to, _mm_or_si128(_mm_unpacklo_epi16(low, low), opaque));
        store<pastCache>(to + 1, _mm_or_si128(_mm_unpackhi_epi16(low, low), opaque));
        store<pastCache>(to + 2, _mm_or_si128(_mm_unpacklo_epi16(high, high), opaque));
        store<pastCache>(to + 3, _mm_or_si128(_mm_unpackhi_epi16(high, high), opaque));
    }
    return done;
}
#endif
} // namespace

void expandGrey(const uchar *grey, int count, quint32 *pixels)
{
    int done = 0;
#ifdef __SSE2__
    done = expandSixteens<false>(grey, count, pixels);
#endif
    for (; done < count; ++done)
        pixels[done] = greyPixel(grey[done]);
}

void expandGreyPastCache(const uchar *grey, int count, quint32 *pixels)
{
    int done = 0;
#ifdef __SSE2__
    // These stores go to multiples of 16 bytes only.
    for (; done < count && reinterpret_cast<quintptr>(pixels + done) % 16 != 0; ++done)
        pixels[done] = greyPixel(grey[done]);
    done += expandSixteens<true>(grey + done, count - done, pixels + done);
    _mm_sfence();
#endif
    expandGrey(grey + done, count - done, pixels + done);
}
