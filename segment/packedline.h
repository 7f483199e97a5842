#pragma once

#include <QtGlobal>

#if defined(__SSE2__)
#    include <emmintrin.h>
#endif

// The eight packed neighbour entries that fit in a cluster's record, edited
// as two 128-bit registers: searches, shifts and the smallest distance
// without a branch on the data. Written with SSE2 intrinsics because the
// compiler turns the same selections, written in plain C++, into branches
// or scalar code. Unused words are all ones.
namespace packedline {

#if defined(__SSE2__)
constexpr bool Available = true;

inline __m128i load(const quint32 *e)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(e));
}
inline void store(quint32 *e, __m128i v)
{
    _mm_storeu_si128(reinterpret_cast<__m128i *>(e), v);
}
inline __m128i lanes(int first)
{
    return _mm_setr_epi32(first, first + 1, first + 2, first + 3);
}
// `a` where the mask is set, `b` elsewhere.
inline __m128i blend(__m128i mask, __m128i a, __m128i b)
{
    return _mm_or_si128(_mm_and_si128(mask, a), _mm_andnot_si128(mask, b));
}

// The count of the words below `target`, unsigned: both sides are biased
// so that the signed comparison orders them.
inline quint32 below(const quint32 *e, quint32 target)
{
    const __m128i bias = _mm_set1_epi32(int(0x80000000u));
    const __m128i t = _mm_xor_si128(_mm_set1_epi32(int(target)), bias);
    const __m128i c0 = _mm_cmplt_epi32(_mm_xor_si128(load(e), bias), t);
    const __m128i c1 = _mm_cmplt_epi32(_mm_xor_si128(load(e + 4), bias), t);
    __m128i sum = _mm_add_epi32(c0, c1);
    sum = _mm_add_epi32(sum, _mm_shuffle_epi32(sum, 0x4E));
    sum = _mm_add_epi32(sum, _mm_shuffle_epi32(sum, 0xB1));
    return quint32(-_mm_cvtsi128_si32(sum));
}

// The last word must be unused; it drops off.
inline void insertAt(quint32 *e, quint32 at, quint32 word)
{
    const __m128i v0 = load(e), v1 = load(e + 4);
    const __m128i w = _mm_set1_epi32(int(word));
    const __m128i p0 = _mm_slli_si128(v0, 4);
    const __m128i p1 = _mm_or_si128(_mm_slli_si128(v1, 4), _mm_srli_si128(v0, 12));
    const __m128i a = _mm_set1_epi32(int(at));
    const __m128i l0 = lanes(0), l1 = lanes(4);
    store(e, blend(_mm_cmplt_epi32(l0, a), v0, blend(_mm_cmpeq_epi32(l0, a), w, p0)));
    store(e + 4, blend(_mm_cmplt_epi32(l1, a), v1, blend(_mm_cmpeq_epi32(l1, a), w, p1)));
}

inline void removeAt(quint32 *e, quint32 at)
{
    const __m128i v0 = load(e), v1 = load(e + 4);
    const __m128i n0 = _mm_or_si128(_mm_srli_si128(v0, 4), _mm_slli_si128(v1, 12));
    const __m128i n1 = _mm_or_si128(_mm_srli_si128(v1, 4), _mm_slli_si128(_mm_set1_epi32(-1), 12));
    const __m128i a = _mm_set1_epi32(int(at));
    store(e, blend(_mm_cmplt_epi32(lanes(0), a), v0, n0));
    store(e + 4, blend(_mm_cmplt_epi32(lanes(4), a), v1, n1));
}

// The smallest of the words' low bits under `mask`, which must keep them
// below 2^15.
inline quint32 least(const quint32 *e, quint32 mask)
{
    const __m128i m = _mm_set1_epi32(int(mask));
    __m128i d = _mm_packs_epi32(_mm_and_si128(load(e), m), _mm_and_si128(load(e + 4), m));
    d = _mm_min_epi16(d, _mm_shuffle_epi32(d, 0x4E));
    d = _mm_min_epi16(d, _mm_shuffle_epi32(d, 0xB1));
    d = _mm_min_epi16(d, _mm_shufflelo_epi16(d, 0xB1));
    return quint32(_mm_cvtsi128_si32(d) & 0xFFFF);
}

// The index of the first word whose low bits under `mask` are `value`, or
// 8 for none.
inline quint32 firstWith(const quint32 *e, quint32 mask, quint32 value)
{
    const __m128i m = _mm_set1_epi32(int(mask));
    const __m128i v = _mm_set1_epi32(int(value));
    const int bits
            = _mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(_mm_and_si128(load(e), m), v)))
            | (_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(_mm_and_si128(load(e + 4), m), v)))
               << 4);
    return bits ? quint32(__builtin_ctz(unsigned(bits))) : 8;
}
#else
constexpr bool Available = false;
inline quint32 below(const quint32 *, quint32)
{
    return 0;
}
inline void insertAt(quint32 *, quint32, quint32) { }
inline void removeAt(quint32 *, quint32) { }
inline quint32 least(const quint32 *, quint32)
{
    return 0;
}
inline quint32 firstWith(const quint32 *, quint32, quint32)
{
    return 8;
}
#endif

} // namespace packedline
