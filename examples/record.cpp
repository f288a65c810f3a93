// Reads a record of the generator's configuration, changes a field and writes it. What the
// generator has afterwards is read back: that is what counts.
//
//     record DEVICE

#include <tkgen.h>

#include <cstdio>

namespace {

/// What transmitBinaryMsg is to do.
constexpr int READ = 998;
constexpr int WRITE = 999;

/// Reads the calibration of a film screen. Whether it came, and is the one that was asked for.
bool read(TkGeneratorControl &generator, TkBinary_AECCalibration &calibration) {
    const unsigned char filmScreen = calibration.filmscreen;
    return generator.transmitBinaryMsg(&calibration, READ, true) && calibration.isValid() &&
           calibration.filmscreen == filmScreen;
}

bool change(TkGeneratorControl &generator, TkBinary_AECCalibration &calibration) {
    if (!read(generator, calibration)) {
        std::puts("the record can't be read");
        return false;
    }
    const unsigned short before = calibration.kv_75_Point;
    const unsigned short wanted = before == 100 ? 101 : 100;
    std::printf("75 kV point: %d, to be %d\n", before, wanted);
    calibration.kv_75_Point = wanted;
    if (!generator.transmitBinaryMsg(&calibration, WRITE, true) || !read(generator, calibration)) {
        std::puts("the record can't be written");
        return false;
    }
    const unsigned short after = calibration.kv_75_Point;
    std::printf("75 kV point: %d\n", after);
    return after == wanted;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "use: record DEVICE\n");
        return 2;
    }
    TkSerial port(argv[1], TkSerial::MODE_READ_WRITE);
    if (!port.isOpen()) {
        std::fprintf(stderr, "can't open %s\n", argv[1]);
        return 1;
    }
    TkGeneratorControl generator(&port);
    generator.startControl();
    TkBinary_AECCalibration calibration;
    calibration.filmscreen = 1;
    const bool changed = change(generator, calibration);
    generator.stopControl();
    return changed ? 0 : 1;
}
