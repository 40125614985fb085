/* A shared object to load. It is built twice, with a number of its own each time, and once with a
 * need for something that nobody has. */
extern const char sample_text[];
const char sample_text[] = "sample";

int sample_number(void);

#ifdef SAMPLE_NEEDS_MORE
extern int nobody_has_this(void);
int sample_number(void) {
    return nobody_has_this();
}
#else
int sample_number(void) {
    return SAMPLE_NUMBER;
}
#endif
