/* CRC-32, CRC-16 and MD5, each fed in pieces: init, any number of updates, final. The running value
 * of a CRC is an integer that the caller keeps, that of MD5 a record of the caller's. */
#ifndef VOR_UTIL_CHECKSUM_H
#define VOR_UTIL_CHECKSUM_H

#include <stddef.h>
#include <stdint.h>

#include "vor_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* CRC-32 of IEEE 802.3, the one that zlib's crc32 computes: of "123456789" it is 0xCBF43926. */

/* The start value. */
VOR_API uint32_t kel_crc32_init(void);

/* The running value after `size` more bytes. A size of 0 gives `crc` back. */
VOR_API uint32_t kel_crc32_update(uint32_t crc, const void *data, size_t size);

/* The checksum that belongs to a running value. */
VOR_API uint32_t kel_crc32_final(uint32_t crc);

/* The checksum of `size` bytes; of none it is 0. */
VOR_API uint32_t kel_crc32_buffer(const void *data, size_t size);

/* A CRC-16 of the polynomial 0x1021 with a form of its own: each byte enters at the low end of the
 * running value, so that the last two have passed through the polynomial only in part. Of
 * "123456789" it is 0xBEEF; the published variants give other values. */

/* The start value. */
VOR_API uint32_t kel_crc16_init(void);

/* The running value after `size` more bytes. A size of 0 gives `crc` back. Bits of `crc` above the
 * low 16 come out as they went in. */
VOR_API uint32_t kel_crc16_update(uint32_t crc, const void *data, size_t size);

/* The checksum that belongs to a running value: its low 16 bits. */
VOR_API uint32_t kel_crc16_final(uint32_t crc);

/* The checksum of `size` bytes; of none it is 0. */
VOR_API uint32_t kel_crc16_buffer(const void *data, size_t size);

/* Bytes of an MD5 digest, and of a block that it works on. */
enum { KEL_MD5_DIGEST_SIZE = 16, KEL_MD5_BLOCK_SIZE = 64 };

/* The running state of MD5. */
typedef struct kel_MD5Context {
    uint32_t state[4];                  /* the chaining values */
    uint32_t count[2];                  /* length of the message in bits, low word first */
    uint8_t buffer[KEL_MD5_BLOCK_SIZE]; /* the unfinished block */
} kel_MD5Context;

/* Starts a digest of RFC 1321. */
VOR_API void kel_MD5Init(kel_MD5Context *context);

/* Feeds `size` bytes. */
VOR_API void kel_MD5Update(kel_MD5Context *context, const void *data, size_t size);

/* Writes the digest, KEL_MD5_DIGEST_SIZE bytes. The first word of `state` is then 0, and the record
 * needs kel_MD5Init before another use. */
VOR_API void kel_MD5Final(uint8_t *digest, kel_MD5Context *context);

#ifdef __cplusplus
}
#endif

#endif
