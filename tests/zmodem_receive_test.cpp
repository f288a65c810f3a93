#include "support/transfer.h"

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>

TEST_F(Transfers, AReceiverEndsWhateverTheSenderDoes) {
    const std::string fin = hex(T::ZFIN);
    const std::string bad = binary(T::ZDATA) + damaged(subpacket("0123456789", 'h'));
    const struct {
        const char *peer;
        Peer::Answers changes;
        int result;
        const char *events;
        const char *file; // where it isn't "hello"
        // clang-format off
    } rows[] = {
        {"is in order", {}, 4, "pspc", nullptr},
        {"isn't there", {{T::ZRINIT, {}}}, 6, "x", ""},
        {"asks for ever", {{T::ZRINIT, {hex(T::ZRQINIT)}}}, 1, nullptr, ""},
        {"damages a first header", {{T::ZRINIT, {damaged(fin), OFFER, fin}}}, 4, "epspc", nullptr},
        {"talks noise", {{T::ZRINIT, {std::string(50000, 'x')}}}, 6, "x", ""},
        {"says ZNAK for ever", {{T::ZRINIT, {hex(T::ZNAK)}}, {T::ZNAK, {hex(T::ZNAK)}}}, 1, "x", ""},
        {"introduces itself", {{T::ZRINIT, {hex(T::ZSINIT) + OFFER, fin}}}, 4, "pspc", nullptr},
        {"has two files", {{T::ZRINIT, {offer("b"), OFFER, fin}}}, 4, "psppspc", nullptr},
        {"aborts", {{T::ZRINIT, {hex(T::ZABORT)}}}, 1, "x", ""},
        {"sends ZCAN", {{T::ZRINIT, {hex(T::ZCAN)}}}, 2, "x", ""},
        {"cancels", {{T::ZRINIT, {CANS}}}, 9, "x", ""},
        {"cancels its offer", {{T::ZRINIT, {binary(T::ZFILE) + CANS}}}, 9, "", ""},
        {"damages its offer", {{T::ZRINIT, {damaged(OFFER), OFFER, fin}}}, 4, "epspc", nullptr},
        {"offers it twice", {{T::ZRPOS, {OFFER + DATA + DATA + END, ""}}}, 4, "pspc", nullptr},
        {"cancels in the file", {{T::ZRPOS, {DATA + CANS}}}, 9, "pspxx", nullptr},
        {"cancels in the data", {{T::ZRPOS, {binary(T::ZDATA) + CANS}}}, 9, "psxx", ""},
        {"aborts in the file", {{T::ZRPOS, {DATA + hex(T::ZABORT)}}}, 1, "pspx", nullptr},
        {"sends ZCAN in the file", {{T::ZRPOS, {hex(T::ZCAN)}}}, 2, "psx", ""},
        {"falls silent in the file", {{T::ZRPOS, {}}}, 1, "psx", ""},
        {"sends bad data for ever", {{T::ZRPOS, {bad}}}, 1, "psx", ""},
        {"sends empty data for ever", {{T::ZRPOS, {binary(T::ZDATA) + subpacket("", 'k')}}, {T::ZACK, {binary(T::ZDATA) + subpacket("", 'k')}}}, 1, nullptr, ""},
        {"sends data that don't end", {{T::ZRPOS, {binary(T::ZDATA) + std::string(60000, 'x')}}}, 1, "psx", ""},
        {"sends strange headers", {{T::ZRPOS, {hex(T::ZNAK)}}}, 1, "psx", ""},
        {"repairs its data", {{T::ZRPOS, {bad + END, DATA + END}}}, 4, "pspc", nullptr},
        {"lost a header", {{T::ZRPOS, {"x" + DATA.substr(1) + END, DATA + END}}}, 4, "pspc", nullptr},
        {"lost an end", {{T::ZRPOS, {binary(T::ZDATA) + std::string(1100, 'x') + END, DATA + END}}}, 4, "pspc", nullptr},
        {"was asked twice", {{T::ZRPOS, {DATA.substr(0, DATA.size() - 9) + subpacket("hello", 'i') + "?", DATA, binary(T::ZDATA, 5) + subpacket("!", 'h') + binary(T::ZEOF, 6)}}}, 4, "psppc", "hello!"},
        {"names strange positions", {{T::ZRPOS, {binary(T::ZDATA, 77) + subpacket("hello", 'h') + binary(T::ZEOF, 1)}}}, 4, "pspc", nullptr},
        {"goes without a word", {{T::ZFIN, {}}}, 4, "pspc", nullptr},
        {"chatters at the end", {{T::ZFIN, {"OxO" + std::string(50000, 'x')}}}, 4, "pspc", nullptr},
        {"cancels at the end", {{T::ZFIN, {CANS}}}, 4, "pspc", nullptr},
        {"goes on behind ZFIN", {{T::ZRINIT, {fin, OFFER, fin}}, {T::ZFIN, {"OxO*" + hex(T::ZRQINIT), "OO"}}}, 4, "epspc", nullptr},
    };
    // clang-format on
    for (const auto &row : rows) {
        SCOPED_TRACE(row.peer);
        std::filesystem::remove(directory + "in/a.bin");
        connect(row.changes, SENDER);
        Receiver receiver(directory + "in/", link.get());
        EXPECT_EQ(receiver.run(), row.result);
        const std::string told = events();
        EXPECT_TRUE(!row.events || told == row.events) << told;
        EXPECT_EQ(contentOf(directory + "in/a.bin"), row.file ? row.file : "hello");
        const bool cancelled = row.result == 9 && told != "";
        EXPECT_EQ(written().find(CANS + CANS) != std::string::npos, cancelled);
    }
}

TEST_F(Transfers, SubpacketsAreAnsweredByTheirEnds) {
    const std::string all = "\x18\x10\x90\x11\x91\x13\x93\x7F\xFF";
    connect(
        {{T::ZRPOS,
          {binary(T::ZDATA) + subpacket("abc", 'j') + subpacket(all, 'i') +
               "\x18l\x18m\x18\x01\x18\x18\x58" + subpacket("\x7F\xFF\x01\x58", 'k').substr(4) +
               binary(T::ZDATA) + damaged(subpacket("0123456789", 'h')),
           binary(T::ZDATA, 16) + subpacket(std::string(1024, 'z'), 'h') + binary(T::ZEOF, 1040)}}},
        SENDER);
    Receiver receiver(directory + "in/", link.get());
    EXPECT_EQ(receiver.run(), 4);
    EXPECT_EQ(contentOf(directory + "in/a.bin"),
              "abc" + all + "\x7F\xFF\x01\x58" + std::string(1024, 'z'));
    EXPECT_EQ(written(), hex(T::ZRINIT, FLAGS) + hex(T::ZRPOS) + hex(T::ZACK, 3) +
                             hex(T::ZACK, 16) + hex(T::ZRPOS, 16) + hex(T::ZRINIT, FLAGS) +
                             hex(T::ZFIN));
}

TEST_F(Transfers, NoNameLeadsOutOfTheDirectory) {
    std::filesystem::create_directories(directory + "in/sub");
    std::filesystem::create_symlink(directory + "outside", directory + "in/link");
    std::filesystem::create_directory_symlink(directory, directory + "in/way");
    ASSERT_EQ(::mkfifo((directory + "in/pipe").c_str(), 0600), 0);
    for (const std::string &name :
         {"../outside"s, "sub/../../outside"s, ".."s, "/outside"s, "C:outside"s, "..\\outside"s,
          "sub\\x"s, "link"s, "pipe"s, "sub"s, "missing/x"s, std::string(1000, 'n')}) {
        connect({{T::ZRINIT, {offer(name + "\0001 0 0 0 1 1\0"s)}}}, SENDER);
        EXPECT_EQ(Receiver(directory + "in/", link.get()).run(), 1) << name;
        EXPECT_EQ(events(), "psx") << name;
        EXPECT_FALSE(std::filesystem::exists(directory + "outside")) << name;
        EXPECT_FALSE(std::filesystem::exists(directory + "x")) << name;
    }
    connect({{T::ZRINIT, {offer("./x")}}}, SENDER);
    EXPECT_EQ(Receiver(directory + "in/.", link.get()).run(), 1); // would be "../x"
    events();
    const struct {
        std::string details;
        std::string file;
        unsigned long files;
        unsigned long size;
    } rows[] = {
        {"\0005 0 0 0 3 99\0"s, "ZMODEM.000", 3, 99},
        {"sub/x.y\0005 0 0 0 3 99\0"s, "sub/x.y", 3, 99},
        {"nothing", "nothing", 0, 0},
        {"short\0005 0 0"s, "short", 0, 0},
        {"huge\0005 0 0 0 99999999999999999999999 4294967296\0"s, "huge", 4294967295, 4294967295},
        {"bad\0005 0 0 0 -3 x9\0"s, "bad", 0, 0},
        {"..hidden\0"s, "..hidden", 0, 0}};
    for (const auto &row : rows) {
        connect({{T::ZRINIT, {offer(row.details), hex(T::ZFIN)}}}, SENDER);
        Receiver receiver(directory + "in/", link.get());
        EXPECT_EQ(receiver.run(), 4) << row.file;
        EXPECT_EQ(contentOf(directory + "in/" + row.file), "hello") << row.file;
        EXPECT_EQ(receiver.getNumFiles(), row.files) << row.file;
        EXPECT_EQ(receiver.getTotalTransferSize(), row.size) << row.file;
        EXPECT_EQ(receiver.getCurrentFile(), 1U);
        EXPECT_EQ(receiver.getCurrentFileName(), row.file);
        events();
    }
}

TEST_F(Transfers, DamageNeverPassesForAFile) {
    // A peer that says all at once and repeats nothing, with each byte lost, doubled and flipped.
    // One subpacket: two that became one, for want of the ZDLE between them, pass the check.
    const std::string script = OFFER + DATA + END + hex(T::ZFIN) + "OO";
    struct Run {
        std::string path;
        std::unique_ptr<HastyLink> link;
        std::unique_ptr<Receiver> receiver;
    };
    std::vector<Run> runs;
    for (std::size_t at = 0; at < script.size(); ++at) {
        const std::string head = script.substr(0, at);
        for (const std::string &middle :
             {""s, std::string(2, script[at]), std::string(1, static_cast<char>(script[at] ^ 0x04)),
              "\x18"s}) {
            Run run{directory + "in/" + std::to_string(runs.size()),
                    std::make_unique<HastyLink>(clock, nullptr), nullptr};
            std::filesystem::create_directories(run.path);
            run.link->arrive(head + middle + script.substr(at + 1));
            run.receiver = std::make_unique<Receiver>(run.path + "/", run.link.get());
            run.receiver->start();
            runs.push_back(std::move(run));
        }
    }
    int complete = 0;
    for (Run &run : runs) {
        const bool isComplete = run.receiver->run() == 4;
        const std::string file = contentOf(run.path + "/a.bin");
        const bool gotFile = isComplete && run.receiver->getCurrentFile() == 1;
        EXPECT_TRUE(!gotFile || file == "hello") << run.path << ' ' << file;
        complete += gotFile ? 1 : 0;
    }
    EXPECT_GT(complete, 0);
}

TEST_F(Transfers, AFullDiskIsNoticed) {
    for (const std::size_t size : {1000U, 100000U}) { // at the file's end, and before
        rlimit before{};
        ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
        const rlimit small{500, before.rlim_max};
        const auto handler = std::signal(SIGXFSZ, SIG_IGN);
        std::string stream = binary(T::ZDATA);
        for (std::size_t sent = 0; sent < size; sent += 1000) {
            stream += subpacket(std::string(1000, 'x'), 'i');
        }
        connect({{T::ZRPOS, {stream + subpacket("", 'h') + binary(T::ZEOF, size)}}}, SENDER);
        Receiver receiver(directory + "in/", link.get());
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
        EXPECT_EQ(receiver.run(), 1);
        EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
        std::signal(SIGXFSZ, handler);
        EXPECT_EQ(events().back(), 'x');
        EXPECT_NE(written().find(CANS + CANS), std::string::npos);
        EXPECT_LE(receiver.getTotalBytesTransfered(), 5000U);
    }
}
