#ifndef TKGEN_TESTS_RECORD_H
#define TKGEN_TESTS_RECORD_H

#include "tkbinaryinterface.h"

#include <cstddef>
#include <vector>

using Bytes = std::vector<unsigned char>;
using Values = std::vector<long>;

constexpr std::size_t MORE = 640; // data than any record has

/// Data of a reply after an index, in which a number at a wrong place shows.
inline Bytes data(int index, std::size_t count = MORE, int seed = 0xEF) {
    Bytes all{static_cast<unsigned char>(index)};
    for (int i = 1; i < static_cast<int>(MORE); ++i) {
        all.push_back(static_cast<unsigned char>(seed - i - i / 0x100 * 0x35));
    }
    all.resize(count);
    return all;
}

/// A field, or one number of a table.
struct Field {
    void *object; // property or record
    long (*get)(void *object, int index);
    void (*set)(void *object, int index, long value); // none in one that is shown only
    int index = 0;
    int count = 0; // of numbers of a table; 0 for one that stands alone

    long value() const { return get(object, index); }
    void assign(long value) const { set(object, index, value); }
};
using FieldList = std::vector<Field>;

/// A record whose frames a test makes and takes itself.
struct Subject {
    virtual ~Subject() = default;
    virtual Bytes frame(int mode) = 0;
    virtual bool take(Bytes &frame) = 0;
    virtual TkBinaryInterface &base() = 0;
    virtual FieldList fields() { return {}; }

    Bytes read() { return frame(998); }
    Bytes write() { return frame(999); }

    /// Takes a reply whose length says a few bytes more than there are.
    bool receive(const Bytes &data, std::size_t more = 0) {
        const std::size_t length = data.size() + more;
        Bytes reply{1, 0x42, static_cast<unsigned char>(length >> 8),
                    static_cast<unsigned char>(length & 0xFF)};
        reply.reserve(data.size() + 5); // no byte more: a read past the end would show
        reply.insert(reply.end(), data.begin(), data.end());
        reply.push_back(0x5A); // the sum, which nobody tests
        return take(reply);
    }
    Values shown() {
        Values values;
        for (const Field &field : fields()) {
            values.push_back(field.value());
        }
        return values;
    }
};

template <class Record>
struct Open : Record, Subject {
    Bytes frame(int form) override { return this->generateCommand(form); }
    bool take(Bytes &reply) override { return this->receiveMsg(&reply); }
    TkBinaryInterface &base() override { return *this; }
};

#endif
