/* Mean structural similarity (SSIM) of two greyscale pictures given as
 * binary PGM files (pdftoppm -gray), over 8x8 windows every 4 pixels, with
 * the usual constants (K1 = 0.01, K2 = 0.03, L = 255). Pictures of
 * different sizes are compared over the area they share.
 *
 *     cc -O2 -o ssim ssim.c -lm && ./ssim a.pgm b.pgm
 */
#include <stdio.h>
#include <stdlib.h>

typedef struct {
    int w, h;
    unsigned char *p;
} Grey;

static int token(FILE *f)
{
    int c, v = 0;
    do {
        c = fgetc(f);
        if (c == '#')
            while (c != '\n' && c != EOF)
                c = fgetc(f);
    } while (c == ' ' || c == '\n' || c == '\r' || c == '\t');
    while (c >= '0' && c <= '9') {
        v = v * 10 + (c - '0');
        c = fgetc(f);
    }
    return v;
}

static int load(const char *path, Grey *g)
{
    FILE *f = fopen(path, "rb");
    if (!f)
        return 0;
    if (fgetc(f) != 'P' || fgetc(f) != '5') {
        fclose(f);
        return 0;
    }
    g->w = token(f);
    g->h = token(f);
    if (token(f) != 255 || g->w <= 0 || g->h <= 0) {
        fclose(f);
        return 0;
    }
    g->p = malloc((size_t)g->w * g->h);
    size_t n = fread(g->p, 1, (size_t)g->w * g->h, f);
    fclose(f);
    return n == (size_t)g->w * g->h;
}

int main(int argc, char **argv)
{
    Grey a, b;
    if (argc != 3 || !load(argv[1], &a) || !load(argv[2], &b)) {
        fprintf(stderr, "usage: ssim a.pgm b.pgm (binary greyscale PGM)\n");
        return 2;
    }
    const int w = a.w < b.w ? a.w : b.w, h = a.h < b.h ? a.h : b.h;
    const double c1 = (0.01 * 255) * (0.01 * 255), c2 = (0.03 * 255) * (0.03 * 255);
    double total = 0;
    long windows = 0;
    for (int y = 0; y + 8 <= h; y += 4)
        for (int x = 0; x + 8 <= w; x += 4) {
            double sa = 0, sb = 0, saa = 0, sbb = 0, sab = 0;
            for (int j = 0; j < 8; ++j)
                for (int i = 0; i < 8; ++i) {
                    const double va = a.p[(size_t)(y + j) * a.w + x + i];
                    const double vb = b.p[(size_t)(y + j) * b.w + x + i];
                    sa += va, sb += vb, saa += va * va, sbb += vb * vb, sab += va * vb;
                }
            const double n = 64, ma = sa / n, mb = sb / n;
            const double va = saa / n - ma * ma, vb = sbb / n - mb * mb, cov = sab / n - ma * mb;
            total += ((2 * ma * mb + c1) * (2 * cov + c2)) / ((ma * ma + mb * mb + c1) * (va + vb + c2));
            ++windows;
        }
    printf("%.4f\n", windows ? total / windows : 1.0);
    return 0;
}
