// Loads an anatomical program, and prints what the generator refuses and why.
//
//     program DEVICE [KV]

#include <tkgen.h>

#include <cstdio>
#include <cstdlib>

int main(int argc, char **argv) {
    const int kv = argc == 3 ? std::atoi(argv[2]) : 110; // 0 for what is no number
    if (argc < 2 || argc > 3 || kv < 1 || kv > 999) {
        std::fprintf(stderr, "use: program DEVICE [KV]\n");
        return 2;
    }
    TkSerial port(argv[1], TkSerial::MODE_READ_WRITE);
    if (!port.isOpen()) {
        std::fprintf(stderr, "can't open %s\n", argv[1]);
        return 1;
    }
    TkGeneratorControl generator(&port);
    generator.enableFeatures(Tk::FEATURE_APR_CODE); // what the room has
    generator.startControl();

    TkAPR chest;
    chest.setGeneratorWorkstation(1);
    chest.setRadiographicTechnique(0); // mA and ms
    chest.setRadiographicKv(kv);
    chest.setRadiographicMa(200);
    chest.setRadiographicMs(20);
    chest.setAPRCode(12);
    const bool taken = generator.transmitAPR(&chest, true);
    const bool answered = generator.getGenParam(Tk::WS) != Tk::VALUE_UNKNOWN;
    if (!answered) {
        std::puts("the generator doesn't answer"); // so it refuses nothing either
    } else if (!taken) {
        std::printf("refused:\n%s", chest.getErrorDetails().c_str());
    } else {
        std::puts("loaded");
    }
    generator.stopControl();
    return answered && taken ? 0 : 1;
}
