#pragma once

#include <QtGlobal>

// splitmix64: the same numbers on every platform and every run, which the catalog's byte-for-byte
// determinism needs (std:: distributions differ between standard libraries).
class CatalogRandom
{
public:
    explicit CatalogRandom(quint64 seed)
        : m_state(seed)
    {
    }

    // A generator for item `index` of stream `seed`, independent of how many items come before.
    static CatalogRandom forItem(quint64 seed, quint64 index)
    {
        CatalogRandom mixer(seed ^ (index * 0x9E3779B97F4A7C15ull));
        return CatalogRandom(mixer.next());
    }

    quint64 next()
    {
        quint64 z = (m_state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }

    // Uniform in [0, 1).
    double uniform() { return double(next() >> 11) * (1.0 / 9007199254740992.0); }
    double uniform(double low, double high) { return low + (high - low) * uniform(); }
    // Uniform in [0, bound).
    quint64 below(quint64 bound) { return bound ? next() % bound : 0; }

private:
    quint64 m_state;
};

// Stable 64-bit seed from a text (FNV-1a).
inline quint64 catalogSeed(const QByteArray &text)
{
    quint64 hash = 0xcbf29ce484222325ull;
    for (char c : text) {
        hash ^= quint8(c);
        hash *= 0x100000001b3ull;
    }
    return hash;
}
