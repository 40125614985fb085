/* Writes a small track file and reads it back: a wedge that is one pixel longer on each track.
 *
 *     make_testimage [FILE]
 *
 * The file is testimage.vor unless another name is given. For each track the runs that were read
 * are printed, each as length x colour. */
#include <stdio.h>

#include "libvor.h"

enum { TRACKS = 8, PIXELS = 16, DARK = 255, LIGHT = 0 };

/* Pixels per mm in both directions. */
static const double RESOLUTION = 100.0;

/* The runs of a track add up to PIXELS. */
static void wedge(trackbuf *track, int32_t n) {
    track->data[0].length = (uint32_t)(n + 1);
    track->data[0].colour = DARK;
    track->data[1].length = (uint32_t)(PIXELS - n - 1);
    track->data[1].colour = LIGHT;
    track->nruns = 2;
}

static int write_image(const char *name, trackbuf *track) {
    /* Row 0 of the format table is the native format; the minor number is the coding of its
     * tracks. The library has reported a failure when a call returns it. */
    xvor_t *file = lfopen(name, LF_WRITE, lffdev(0, VT_FW16), NULL);
    int good;
    int32_t n;

    if (file == NULL) return 0;
    good = lfsetsize(file, TRACKS, PIXELS) == 0 && lfscale(file, RESOLUTION, RESOLUTION) == 0;
    for (n = 0; good && n < TRACKS; n++) {
        wedge(track, n);
        good = lfwrite(file, track, n) == 0;
    }
    /* The header is written by the close, so its result counts as much as the others'. */
    return lfclose(file) == 0 && good;
}

static int print_image(const char *name, trackbuf *track) {
    lfinfo info;
    xvor_t *file = lfopen(name, LF_READ, 0, &info);
    int32_t n;
    int32_t i;
    int good = 1;

    if (file == NULL) return 0;
    printf("%s: %d tracks of %d pixels, %g x %g pixels per mm\n", info.type_name, (int)info.xsize,
           (int)info.ysize, info.xres, info.yres);
    for (n = 0; good && n < info.xsize; n++) {
        good = lfread(file, track, n) >= 0;
        if (!good) break;
        printf("track %d:", (int)n);
        for (i = 0; i < track->nruns; i++)
            printf(" %ux%u", (unsigned)track->data[i].length, (unsigned)track->data[i].colour);
        printf("\n");
    }
    return lfclose(file) == 0 && good;
}

int main(int argc, char **argv) {
    const char *name = argc > 1 ? argv[1] : "testimage.vor";
    trackbuf track;
    int good;

    /* Room for the runs of any track of this width. */
    if (gtgrow(&track, PIXELS, 1, 0) < 0) return 1;
    good = write_image(name, &track) && print_image(name, &track);
    gtfree(&track);
    return good ? 0 : 1;
}
