/* A program in C that uses something of every public header, as a caller would. It is compiled as
 * C11 and as C++17, and linked with nothing but the shared library. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "libvor.h"

static int faults = 0;

static void expect(int holds, const char *what) {
    if (holds) return;
    fprintf(stderr, "does not hold: %s\n", what);
    ++faults;
}

#define EXPECT(condition) expect((condition) != 0, #condition)

static void use_platform(void) {
    const char *end = NULL;
    const char *text = "0x1Fz";
    EXPECT(kel_strtoll(text, &end, 0) == 31);
    EXPECT(end == text + 4);
    EXPECT(kel_open("no such file", KEL_O_RDONLY, 0) == -1);
    EXPECT(nint(-2.5) == -3);
}

static void use_directories(void) {
    kel_statvfs_t volume;
    kel_DIR *directory = kel_opendir(".");
    EXPECT(directory != NULL && kel_readdir(directory)->d_ino == 1);
    EXPECT(kel_closedir(directory) == 0);
    EXPECT(kel_statvfs("/", &volume) == 0 && volume.f_files == volume.f_blocks);
}

static void use_checksum(void) {
    EXPECT(kel_crc32_buffer("123456789", 9) == UINT32_C(0xCBF43926));
}

static void use_install(void) {
    EXPECT(kel_runtime_topdir() != NULL);
}

static void use_paths(void) {
    char name[16] = "image.tif";
    EXPECT(setsuffix(name, ".vor") == 1);
    EXPECT(strcmp(name, "image.vor") == 0);
}

static void use_services(void) {
    unsigned char bytes[2] = {1, 2};
    swapshort(bytes, sizeof bytes);
    EXPECT(bytes[0] == 2 && bytes[1] == 1);
    EXPECT(strcmp(KEL_libversion, "6.0") == 0);
}

static void use_options(void) {
    char program[] = "prog";
    char word[] = "--all";
    char *arguments[] = {program, word, NULL};
    struct option table[] = {{"all", no_argument, NULL, 'a'}, {NULL, 0, NULL, 0}};
    optind = 0;
    EXPECT(getopt_long(2, arguments, "", table, NULL) == 'a');
    EXPECT(optind == 2 && getopt_long(2, arguments, "", table, NULL) == -1);
}

static void use_url(void) {
    url_t url;
    memset(&url, 0, sizeof url);
    EXPECT(url_parse(&url, "http://host:80/path") == 0);
    EXPECT(strcmp(url.host, "host") == 0 && url.port == 80);
    EXPECT(url_destroy(&url) == 0);
}

static void use_shared_object(void) {
    EXPECT(so_setdir("no such directory", 1) == 0);
    EXPECT(so_open("no such object") == NULL);
}

static void use_text(void) {
    EXPECT(ytoi("yes") == 1);
    EXPECT(ytoi("perhaps") == -1);
}

static void use_backup(void) {
    EXPECT(config_backup(BACKUP_GET_GENERATIONS, 0) == 4);
    EXPECT(savebackup("no such file", BACKUP_COPY) == 1);
}

static void use_catalogue(void) {
    EXPECT(readstrings("", "eng", 0, 100) == 0);
    EXPECT(text_basedir != NULL);
    EXPECT(mystrings[0] == NULL && textbuf_sizes[0] == 0);
}

static void use_config_file(void) {
    config_file_t config;
    EXPECT(init_config_file(&config, "./no such file", CF_PATHOK) == -1);
    EXPECT(config.path == NULL);
    EXPECT(close_config_file(&config) == 0);
}

static void use_getaline(void) {
    FILE *stream = tmpfile();
    getaline_t *reader = alloc_getaline(stream);
    char *line;

    EXPECT(stream != NULL && fputs("one line\n", stream) >= 0);
    rewind(stream);
    line = getaline_r(reader, 0);
    EXPECT(line != NULL && strcmp(line, "one line") == 0);
    free_getaline(reader);
}

static void use_path_search(void) {
    char found[FINDFILE_ROOM];
    path_vector *vector = build_pv("one:two", 0, 0);
    EXPECT(vector != NULL && vector->count == 2);
    EXPECT(vector != NULL && strcmp(vector->entries[1].text, "two") == 0);
    destroy_pv(vector);
    EXPECT(findfile(found, "no such file", ";lib", NULL) == -1);
}

static void use_lock(void) {
    EXPECT(win32_islocked(0) == -1);
    EXPECT(win32_lock("not/a name") == -1);
    EXPECT(win32_unlock(0) == -1);
}

static char logged[512];

static void keep_line(const char *line) {
    strncpy(logged, line, sizeof logged - 1);
}

static void use_log(void) {
    logmesg_set_hook(keep_line);
    EXPECT(logmesg(LOGMESG_NOTE | LOGMESG_NO_FILE, "%d tracks", 3) == 0);
    logmesg_set_hook(NULL);
    EXPECT(strstr(logged, "3 tracks") != NULL);
}

static void use_log_file(void) {
    char name[1024];
    snprintf(name, sizeof name, "%s/every_header.log", local_home_path());
    logmesg_set_file("every_header.log");
    logmesg(LOGMESG_NOTE | LOGMESG_NO_STDERR, "%d tracks", 3);
    EXPECT(kel_access(name, KEL_R_OK) == 0);
    logmesg_set_file(NULL);
    EXPECT(kel_unlink(name) == 0);
}

static void use_arrays(void) {
    int32_t room[3];
    int32_t *numbers = room;
    int32_t size = 3;
    EXPECT(xget_int_array("[1, 5x2]", &numbers, &size) == 3);
    EXPECT(room[0] == 1 && room[1] == 5 && room[2] == 5);
}

static void use_spawn(void) {
    logmesg_set_hook(keep_line); /* the failure below is meant */
    EXPECT(win32_system("") == -1);
    EXPECT(win32_system_abort() == -1);
    logmesg_set_hook(NULL);
}

static void use_machine_settings(void) {
    char *path;
    gd.homedir = "/home/me";
    path = check_path("~/lib");
    EXPECT(path != NULL && strcmp(path, "/home/me/lib") == 0);
    free(path);
    EXPECT(paperselect("a4", 10, 15) == 0);
    EXPECT(gd.paperheight == 282);
    EXPECT(strcmp(make_vstring("$Name: rel-6-1 $"), "rel-6-1") == 0);
}

static void use_rc_file(void) {
    rc_entry_t entry = {RC_ENTRY_SIZE, 7, 0, NULL, NULL};
    EXPECT(readrcfile("/no such file", 0) == -1);
    EXPECT(rc_entry(&entry, RC_ENTRY_COUNT) == 0);
    EXPECT(entry.index == 0);
    EXPECT(rc_integer("no such key", 3) == 3);
    EXPECT(rc_parsems("1:30") == 90000);
}

static void use_units(void) {
    char text[32];
    EXPECT(initunits(UNIT_SIZE, "inch") == 0);
    EXPECT(mm2unit(text, 50.8, 0, 1, UNIT_SIZE | UNIT_NAME) == 2);
    EXPECT(strcmp(text, "2.0inch") == 0);
    EXPECT(unit2mm("1+1 cm", UNIT_SIZE) == 20);
}

static void use_track_file(void) {
    trackbuf track;
    xvor_t *closed;
    EXPECT(gtgrow(&track, 4, 1, 0) == 0);
    EXPECT(lffill(&track, 100, 7) == 1);
    EXPECT(track.data[0].length == 100 && track.data[0].colour == 7);
    EXPECT(gtfree(&track) == 0);

    vorerror = 0; /* the failure below is meant */
    closed = lfopen("no such file", LF_READ, 0, NULL);
    vorerror = 1;
    EXPECT(closed == NULL);
}

static void use_formats(void) {
    EXPECT(lfdescriptor(0) == &vor_cvtformat);
    EXPECT(lffmajor(lffdev(3, 5)) == 3 && lffminor(lffdev(3, 5)) == 5);
    EXPECT(lfloadfmt("vor") == 0);
}

static void use_codecs(void) {
    const rle_row *row = findrle_functions("fw16");
    EXPECT(row != NULL && row->limit == 32767);
    EXPECT(findrle_functions("no such codec") == NULL);
}

static void use_colour(void) {
    uint16_t table[NCOLORS_DEFAULT];
    EXPECT(wsetupctab("invert", table, NULL, 0) == 0);
    EXPECT(table[0] == 255 && table[255] == 0);
    EXPECT(assigncolors(table, "invert", 1, 0) == 0);
    EXPECT(table[0] == 0 && table[255] == 255);
    EXPECT(write_ctab("no such folder/curve", table, 0) == CURVE_NO_FILE);
}

static void use_autoconvert(void) {
    char name[16] = "no such file";
    EXPECT(autoconvert(name) == AUTOCONVERT_NO_RULE);
    strcpy(name, "no.suchfile:M");
    EXPECT(autoconvert(name) == AUTOCONVERT_NO_FILE);
    EXPECT(strcmp(name, "no.suchfile") == 0);
}

static void use_native_format(void) {
    ckvor_t check;
    memset(&check, 0, sizeof check);
    check.filename = "no such file";
    EXPECT(ckvor(&check, 0) == -1);
    EXPECT(check.status == CKV_NOTOPEN);
}

int main(void) {
    use_platform();
    use_directories();
    use_checksum();
    use_install();
    use_paths();
    use_services();
    use_shared_object();
    use_text();
    use_options();
    use_url();
    use_backup();
    use_catalogue();
    use_config_file();
    use_getaline();
    use_lock();
    use_log();
    use_log_file();
    use_path_search();
    use_arrays();
    use_spawn();
    use_machine_settings();
    use_rc_file();
    use_units();
    use_track_file();
    use_formats();
    use_codecs();
    use_native_format();
    use_colour();
    use_autoconvert();
    return faults == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
