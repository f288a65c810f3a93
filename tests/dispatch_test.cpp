#include "support/dispatcher.h"
#include "support/engine.h"
#include "tk.h"
#include "tkdispatchmanager.h"
#include "tkvocabulary.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace {

using Events = std::vector<std::string>;

/// The operation of every command that has one; those with a value are told with it.
const char *const operations =
    "KV:radiographic_Kv_Changed FLZ:fluoroscopic_MAG_Changed MA:radiographic_Ma_Changed "
    "FLI:fluoroscopic_Inter_Timer_Changed MS:radiographic_Ms_Changed "
    "FLT:fluoroscopic_Accum_Timer_Changed MX:radiographic_Mas_Changed "
    "ATA:tomography_Angle_Changed ET:radiographic_Technique_Changed "
    "ATC:tomography_Cutline_Changed PR:radiographic_Prep_Changed "
    "DA:dap_Accumulated_Changed XR:radiographic_Exposure_Changed DR:dap_Rate_Changed "
    "FS:radiographic_Film_Screen_Changed DT:dap_Test_Changed "
    "FI:radiographic_AEC_Fields_Changed DS:dap_Status_Changed "
    "FN:radiographic_Density_Changed WS:generator_Workstation_Changed "
    "AP:radiographic_Post_Mas_Changed FO:generator_Focal_Spot_Changed "
    "AT:radiographic_Post_Time_Changed TB:generator_Tube_Changed "
    "AI:radiographic_APR_Code_Changed TU:generator_Tube_Changed "
    "FLK:fluoroscopic_Kv_Changed AL:generator_AEC_Lock_Changed FLM:fluoroscopic_Ma_Changed "
    "CN:generator_Cine_RunTime_Changed FLS:fluoroscopic_PPS_Changed ER:generator_Error "
    "FLF:fluoroscopic_Mode_Changed EL:generator_Latched_Error "
    "FLP:fluoroscopic_Prep_Changed MC:generator_Ma_Cal_Changed "
    "FLA:fluoroscopic_ABS_Changed FC:generator_Filament_Cal_Changed "
    "FLX:fluoroscopic_Exposure_Changed PS:generator_Patient_Size_Changed "
    "FLC:fluoroscopic_Rad_Curve_Changed TR:generator_Remote_Tomo_Changed "
    "FLO:fluoroscopic_ABS_Curve_Changed HE:tube_Heat_Units_Changed "
    "FLD:fluoroscopic_Dose_Changed ATP:room_Auto_Position_Changed "
    "COL:room_Collimator_Changed FIL:room_Filter_Changed "
    "FP:room_Rotation_Selection_Changed BCP:bolus_Chase_Phase_Changed "
    "BCI:bolus_Chase_Interval_Changed BCF:bolus_Chase_Frame_Rate_Changed "
    "RAP:rotational_Angiography_Phase_Changed RAA:rotational_Angiography_Angle_Changed "
    "RAF:rotational_Angiography_Frame_Rate_Changed BU:generator_Bucky_Changed";

TEST(Dispatch, EveryCommandReachesItsOperation) {
    TkDispatchManager manager;
    Recorder recorder;
    manager.addDispatcher(&recorder);
    std::map<std::string, std::string> expected;
    std::istringstream pairs(operations);
    for (std::string pair; pairs >> pair;) {
        expected[pair.substr(0, pair.find(':'))] = pair.substr(pair.find(':') + 1);
    }
    ASSERT_EQ(expected.size(), 56u);
    for (const TkCommand &row : TkCommandTable::rows) {
        int value = 5;
        EXPECT_TRUE(manager.dispatchMsg(1, row.number, &value));
        std::string operation = expected[row.mnemonic];
        const std::string name = row.mnemonic;
        operation += name == "PR" || name == "XR" || name == "FLP" || name == "FLX" ? "=5" : "";
        EXPECT_EQ(recorder.events(), operation.empty() ? Events{} : Events{operation}) << name;
    }
    for (const int unknown : {0, -1, TK_METER_FOUND, 100, 1001}) {
        EXPECT_TRUE(manager.dispatchMsg(1, unknown, nullptr));
    }
    EXPECT_EQ(recorder.events(), Events{});
}

/// Notes what an interface's operations are called with, by their place in the class.
struct Relay : TkTCPIPDispatcher {
    std::string last;
    void tcpip_Server_Failed() override { last = "failed"; }
    void tcpip_Server_Accept(void *socket) override { last = static_cast<const char *>(socket); }
    void tcpip_Server_Logoff(void *site) override { last = static_cast<const char *>(site); }
    void tcpip_Client_Failed() override { last = "client failed"; }
    void tcpip_Client_Server_Down() override { last = "server down"; }
    void tcpip_Control_Connecting(void *address) override {
        last = static_cast<const char *>(address);
    }
    void tcpip_Control_Server_Down() override { last = "server down for control"; }
};
struct Infimed : TkInfimedDispatcher {
    std::string last;
    void lostComms() override { last = "lost"; }
    void CommsReEstablished() override { last = "back"; }
    void infimed_invert_changed() override { last = "invert"; }
    void infimed_error_message() override { last = "error"; }
};
struct Transfer : TkZModemDispatcher {
    std::string last;
    void establishing_comms() override { last = "establishing"; }
    void transfer_complete() override { last = "complete"; }
};
struct Gehl : TkGEHLDispatcher {
    std::string last;
    void lostComms() override { last = "lost"; }
    void CommsReEstablished() override { last = "back"; }
    void gehl_receptor_changed() override { last = "receptor"; }
};

TEST(Dispatch, TheOtherClasses) {
    TkDispatchManager manager;
    Recorder generator;
    Relay relay;
    Infimed infimed;
    Transfer transfer;
    Gehl gehl;
    for (TkBaseDispatcher *one : std::initializer_list<TkBaseDispatcher *>{
             &generator, &relay, &infimed, &transfer, &gehl}) {
        manager.addDispatcher(one);
    }
    const auto call = [&](int eventClass, int command, std::string &last) {
        last.clear();
        char data[] = "data";
        manager.dispatchMsg(eventClass, command, data);
        return last;
    };
    EXPECT_EQ(call(2, 100, relay.last), "failed");
    EXPECT_EQ(call(2, 104, relay.last), "data");
    EXPECT_EQ(call(2, 112, relay.last), "data");
    EXPECT_EQ(call(2, 200, relay.last), "client failed");
    EXPECT_EQ(call(2, 213, relay.last), "server down");
    EXPECT_EQ(call(2, 308, relay.last), "data");
    EXPECT_EQ(call(2, 315, relay.last), "server down for control");
    for (const int none : {99, 113, 199, 214, 299, 316, -1}) {
        EXPECT_EQ(call(2, none, relay.last), "") << none;
    }
    EXPECT_EQ(call(3, 1012, infimed.last), "invert");
    EXPECT_EQ(call(3, 2000, infimed.last), "error");
    EXPECT_EQ(call(3, 1006, infimed.last), "");
    EXPECT_EQ(call(4, 0, transfer.last), "establishing");
    EXPECT_EQ(call(4, 4, transfer.last), "complete");
    EXPECT_EQ(call(4, Tk::KV, transfer.last), "");
    EXPECT_EQ(call(5, 'R', gehl.last), "receptor");
    EXPECT_EQ(call(5, 'N', gehl.last), "");
    EXPECT_EQ(call(6, 100, relay.last), "");

    for (int eventClass = 0; eventClass < 7; ++eventClass) {
        manager.lostComms(eventClass);
    }
    EXPECT_EQ(infimed.last + gehl.last, "lostlost");
    for (int eventClass = 0; eventClass < 7; ++eventClass) {
        manager.CommsReEstablished(eventClass);
    }
    EXPECT_EQ(infimed.last + gehl.last, "backback");
    EXPECT_EQ(generator.events(), (Events{"lostComms", "CommsReEstablished"}));
    EXPECT_EQ(transfer.last + relay.last, "") << "neither knows a link that is lost";
}

TEST(Dispatch, OrderDuplicatesAndRemoval) {
    TkDispatchManager manager;
    std::string order;
    Recorder first([&](const std::string &) { order += '1'; });
    Recorder second([&](const std::string &) { order += '2'; });
    manager.addDispatcher(nullptr);
    EXPECT_FALSE(manager.removeDispatcher(nullptr));
    EXPECT_FALSE(manager.removeDispatcher(&first));
    manager.addDispatcher(&first);
    manager.addDispatcher(&second);
    manager.addDispatcher(&first);
    const auto deliver = [&] {
        order.clear();
        manager.dispatchMsg(1, Tk::KV, nullptr);
        return order;
    };
    EXPECT_EQ(deliver(), "121");
    EXPECT_TRUE(manager.removeDispatcher(&first));
    EXPECT_EQ(deliver(), "21") << "the earlier registration goes first";
    EXPECT_TRUE(manager.removeDispatcher(&first));
    EXPECT_FALSE(manager.removeDispatcher(&first));
    EXPECT_EQ(deliver(), "2");
}

TEST(Dispatch, CallbacksThatThrowAddAndRemove) {
    TkDispatchManager manager;
    Recorder last;
    Recorder added;
    Recorder changing([&](const std::string &) {
        EXPECT_TRUE(manager.removeDispatcher(&changing));
        EXPECT_TRUE(manager.removeDispatcher(&last));
        manager.addDispatcher(&added);
        throw std::runtime_error("an application's own");
    });
    manager.addDispatcher(&changing);
    manager.addDispatcher(&last);
    manager.dispatchMsg(1, Tk::KV, nullptr);
    EXPECT_EQ(last.events(), Events{}) << "removed before its turn";
    EXPECT_EQ(added.events(), Events{}) << "added too late for this one";
    manager.dispatchMsg(1, Tk::MA, nullptr);
    EXPECT_EQ(changing.events(), Events{"radiographic_Kv_Changed"});
    EXPECT_EQ(added.events(), Events{"radiographic_Ma_Changed"});
}

TEST(Dispatch, RemovalWaitsForTheOtherThread) {
    TkDispatchManager manager;
    Gate gate;
    auto *const slow = new Recorder([&](const std::string &) { gate.pass(); });
    manager.addDispatcher(slow);
    std::thread producer([&] { manager.dispatchMsg(1, Tk::KV, nullptr); });
    EXPECT_TRUE(eventually([&] { return gate.inside(); }));
    std::atomic<bool> removed{false};
    std::thread remover([&] {
        EXPECT_TRUE(manager.removeDispatcher(slow));
        removed = true;
        delete slow;
    });
    std::this_thread::yield();
    EXPECT_FALSE(removed) << "the dispatcher is still in use";
    gate.open();
    remover.join();
    producer.join();
    EXPECT_TRUE(removed);
}

/// Runs a hook for the class 4 event 0.
struct Starting : TkZModemDispatcher {
    std::function<void()> hook;
    void establishing_comms() override { hook(); }
};

TEST(Dispatch, TwoThatRemoveEachOtherBothEnd) {
    for (int round = 0; round < 100; ++round) {
        TkDispatchManager manager;
        std::atomic<int> inside{0};
        const auto meet = [&] {
            for (++inside; inside < 2;) {
                std::this_thread::yield();
            }
        };
        Starting second;
        Recorder first([&](const std::string &) {
            meet();
            EXPECT_TRUE(manager.removeDispatcher(&second));
        });
        second.hook = [&] {
            meet();
            EXPECT_TRUE(manager.removeDispatcher(&first));
        };
        manager.addDispatcher(&first);
        manager.addDispatcher(&second);
        std::thread one([&] { manager.dispatchMsg(1, Tk::KV, nullptr); });
        manager.dispatchMsg(4, 0, nullptr);
        one.join();
    }
}

TEST(Dispatch, DispatchersComeAndGoWhileEventsRun) {
    TkDispatchManager manager;
    std::atomic<bool> ended{false};
    std::atomic<int> delivered{0};
    std::vector<std::thread> producers;
    for (int i = 0; i < 2; ++i) {
        producers.emplace_back([&] {
            while (!ended) {
                manager.dispatchMsg(1, Tk::KV, nullptr);
            }
        });
    }
    EXPECT_TRUE(eventually([&] {
        auto passing = std::make_unique<Recorder>([&](const std::string &) { ++delivered; });
        manager.addDispatcher(passing.get());
        EXPECT_TRUE(manager.removeDispatcher(passing.get()));
        return delivered > 20;
    }));
    ended = true;
    for (std::thread &producer : producers) {
        producer.join();
    }
}

} // namespace
