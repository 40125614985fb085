// Lists of numbers. One reader serves a text and a file, which differs in that it has lines and
// comments and no brackets; one store serves both kinds of elements.
#include <algorithm>
#include <cstring>

#include "platform/kel.h"
#include "runtime/array_file.h"
#include "runtime/arrays.h"
#include "runtime/log.h"
#include "util/numbers.h"
#include "util/owned.h"
#include "util/real_numbers.h"

namespace {

constexpr int32_t growth = 256; // elements
constexpr int32_t least_room = 2;

// The whole of the unit that a number is given in, and what its fractions of one come to.
struct Unit {
    double whole;
    double scale;
};

Unit unit_of(uint32_t flags, double) {
    switch (flags & XARRAY_UNIT) {
    case XARRAY_PERCENT:
        return {100, 0.01};
    case XARRAY_PERMILLE:
        return {1000, 0.001};
    default:
        return {0, 1};
    }
}

Unit unit_of(uint32_t flags, int32_t) {
    switch (flags & XARRAY_UNIT) {
    case XARRAY_PERCENT:
        return {100, 10};
    case XARRAY_PERMILLE:
        return {1000, 1};
    default:
        return {0, 1};
    }
}

void store(double value, double *element) {
    *element = value;
}

void store(double value, int32_t *element) {
    *element = static_cast<int32_t>(std::clamp<int64_t>(nint(value), INT32_MIN, INT32_MAX));
}

template <class T>
class Array {
public:
    Array(T *data, int32_t capacity, uint32_t flags)
        : flags_(flags), data_(data), capacity_(capacity) {}

    // Makes sure that there is a block.
    bool begin() {
        if (data_) return true;
        if (flags_ & XARRAY_FIXED) return false;
        if (capacity_ < 1) capacity_ = growth;
        data_ = vor::allocate_array<T>(static_cast<size_t>(capacity_));
        if (!data_) capacity_ = 0;
        return data_ != nullptr;
    }

    bool put(double value, bool is_difference) {
        if (!make_room("array_setvar")) return false;
        const Unit unit = unit_of(flags_, T());
        store((is_difference ? value + unit.whole : value) * unit.scale, &data_[count_++]);
        return true;
    }

    // Makes the last element stand `times` times in all.
    bool repeat(int32_t times) {
        if (times < 1) {
            logmesg(LOGMESG_WARNING, "array_add_rep: bad repeat count=%d", times);
            return false;
        }
        for (; times > 1; --times) {
            if (!make_room("array_add_rep")) return false;
            data_[count_] = data_[count_ - 1];
            ++count_;
        }
        return true;
    }

    // A block that cannot be made smaller serves as it is.
    void shrink() {
        if (!(flags_ & XARRAY_SHRINK) || (flags_ & XARRAY_FIXED)) return;
        const int32_t wanted = std::max(count_, least_room);
        if (wanted < capacity_) resize(wanted);
    }

    void drop_block() {
        if (flags_ & XARRAY_FIXED) return;
        std::free(data_);
        data_ = nullptr;
    }

    T *data() const { return data_; }
    int32_t count() const { return count_; }

private:
    bool make_room(const char *where) {
        if (count_ < capacity_) return true;
        const bool may_grow = !(flags_ & (XARRAY_FIXED | XARRAY_EXACT));
        if (may_grow && capacity_ <= INT32_MAX - growth && resize(capacity_ + growth)) return true;
        logmesg(LOGMESG_WARNING, "%s: bad index=%d", where, count_);
        count_ = capacity_;
        return false;
    }

    bool resize(int32_t capacity) {
        T *const block = vor::reallocate_array(data_, static_cast<size_t>(capacity));
        if (!block) return false;
        data_ = block;
        capacity_ = capacity;
        return true;
    }

    uint32_t flags_;
    T *data_;
    int32_t capacity_;
    int32_t count_ = 0;
};

// "0x" does not start a hexadecimal number here: what stands behind it is a repeat count.
double decimal_number(const char *text, const char **end) {
    const char *digit = text;
    while (vor::is_space(*digit))
        ++digit;
    const bool negative = *digit == '-';
    if (*digit == '-' || *digit == '+') ++digit;
    if (digit[0] == '0' && vor::to_lower(digit[1]) == 'x') {
        *end = digit + 1;
        return negative ? -0.0 : 0.0;
    }
    return vor::text_to_double(text, end);
}

class Reader {
public:
    explicit Reader(const char *text) : at_(text), end_(text + std::strlen(text)), file_(nullptr) {}
    Reader(const char *text, size_t length, const char *file)
        : at_(text), end_(text + length), file_(file) {}

    template <class T>
    bool read(Array<T> *array) {
        skip_separators();
        if (!file_ && *at_ == '[') ++at_;
        for (skip_separators(); !at_end(); skip_separators())
            if (!read_element(array)) return false;
        return true;
    }

private:
    bool at_end() const { return at_ == end_ || (!file_ && *at_ == ']'); }

    void skip_separators() {
        for (; at_ < end_; ++at_) {
            if (file_ && *at_ == '#') at_ = std::find(at_, end_, '\n');
            if (at_ == end_) return;
            if (file_ && *at_ == '\n') {
                ++line_;
            } else if (!std::strchr(file_ ? ",; \t\r" : ",; \t", *at_) || *at_ == 0) {
                return;
            }
        }
    }

    template <class T>
    bool read_element(Array<T> *array) {
        const char *behind = nullptr;
        const double value = decimal_number(at_, &behind);
        if (!array->put(value, *at_ == '+' || *at_ == '-')) return false;
        if (behind == at_) {
            complain();
            return false;
        }
        at_ = behind;
        if (*at_ != '*' && *at_ != 'x') return true;
        return array->repeat(vor::text_to_int32(at_ + 1, &at_, 10));
    }

    void complain() const {
        if (file_) {
            logmesg(LOGMESG_ERROR, "%s line %d: invalid number", file_, line_);
        } else {
            logmesg(LOGMESG_WARNING, "array_from_string: invalid number near %.15s", at_);
        }
    }

    const char *at_;
    const char *const end_;
    const char *const file_; // its name, or NULL
    int32_t line_ = 1;
};

template <class T>
bool read_numbers(const char *text, Array<T> *array) {
    if (*text != '@') return Reader(text).read(array);
    const char *const name = text + 1;
    size_t length = 0;
    const vor::malloc_ptr<char[]> content = vor::read_list_file(name, &length);
    if (content) return Reader(content.get(), length, name).read(array);
    array->drop_block();
    return false;
}

bool is_wanted_size(int32_t wanted, int32_t got, uint32_t flags) {
    if (!(flags & XARRAY_EXACT) || got == wanted) return true;
    if (got == 0 && (flags & XARRAY_OR_EMPTY)) return true;
    if (got == 1 && (flags & XARRAY_OR_SINGLE)) return true;
    logmesg(LOGMESG_ERROR, "bad size match on array: want=%d got=%d elts", wanted, got);
    return false;
}

template <class T>
int32_t get_array(const char *text, T **data, int32_t *size, uint32_t flags) {
    if (*data && *size < 1) return -1;
    Array<T> array(*data, *size, flags);
    const int32_t wanted = *size;
    *size = 0;
    if (!array.begin()) return -1;
    bool good = read_numbers(text, &array);
    if (good) {
        array.shrink();
        good = is_wanted_size(wanted, array.count(), flags);
    }
    *data = array.data();
    *size = array.count();
    return good ? array.count() : -1;
}

template <class T>
uint32_t usual_flags(T *const *data) {
    return *data ? XARRAY_FIXED : XARRAY_SHRINK;
}

// A NaN is below everything, so that the comparison asks what is not below.
template <class T>
int32_t check_array(T *array, int32_t count, bool clamp, T minimum, T maximum) {
    for (int32_t i = 0; i < count; ++i) {
        const bool below = !(array[i] >= minimum);
        if (!below && array[i] <= maximum) continue;
        if (!clamp) return -1;
        array[i] = below ? minimum : maximum;
    }
    return 0;
}

} // namespace

extern "C" {

int32_t xget_int_array_ex(const char *text, int32_t **data, int32_t *size, uint32_t flags) {
    return get_array(text, data, size, flags);
}

int32_t xget_double_array_ex(const char *text, double **data, int32_t *size, uint32_t flags) {
    return get_array(text, data, size, flags);
}

int32_t xget_int_array(const char *text, int32_t **data, int32_t *size) {
    return get_array(text, data, size, usual_flags(data));
}

int32_t xget_double_array(const char *text, double **data, int32_t *size) {
    return get_array(text, data, size, usual_flags(data));
}

int32_t xcheck_int_array(int32_t *array, int32_t count, int32_t clamp, int32_t minimum,
                         int32_t maximum) {
    return check_array(array, count, clamp != 0, minimum, maximum);
}

int32_t xcheck_double_array(double *array, int32_t count, int32_t clamp, double minimum,
                            double maximum) {
    return check_array(array, count, clamp != 0, minimum, maximum);
}

} // extern "C"
