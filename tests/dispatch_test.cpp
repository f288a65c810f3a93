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

using Told = std::vector<std::string>;

/// The operation of every command that has one; those with a value are told with it.
const char *const operationsOfTheGenerator =
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
    std::istringstream pairs(operationsOfTheGenerator);
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
        EXPECT_EQ(recorder.events(), operation.empty() ? Told{} : Told{operation}) << name;
    }
    for (const int unknown : {0, -1, TK_METER_FOUND, 100, 1001}) {
        EXPECT_TRUE(manager.dispatchMsg(1, unknown, nullptr));
    }
    EXPECT_EQ(recorder.events(), Told{});
}

/// All of a class's events by their numbers, as "100 name".
template <class Dispatcher>
std::vector<std::string> numbered(int eventClass) {
    TkDispatchManager manager;
    Dispatcher recorder;
    Recorder ofAnotherClass;
    manager.addDispatcher(&ofAnotherClass);
    manager.addDispatcher(&recorder);
    std::vector<std::string> all;
    for (int command = -2; command < 3000; ++command) {
        int data = 7;
        manager.dispatchMsg(eventClass, command, &data);
        for (const std::string &event : recorder.events()) {
            all.push_back(std::to_string(command) + " " + event);
        }
    }
    EXPECT_EQ(ofAnotherClass.events(), Told{});
    return all;
}

TEST(Dispatch, RelayEventsRunInStepWithTheirOperations) {
#define P(name) #name,
#define D(name) #name "=7",
    const Told operations = {TKGEN_TESTS_RELAY(P, D)};
#undef P
#undef D
    Told expected;
    for (int i = 0; i < 43; ++i) {
        const int number = i < 13 ? 100 + i : i < 27 ? 200 + i - 13 : 300 + i - 27;
        expected.push_back(std::to_string(number) + " " + operations[static_cast<std::size_t>(i)]);
    }
    EXPECT_EQ(numbered<RelayRecorder>(2), expected);
}

TEST(Dispatch, ConsolesAndTransfers) {
    EXPECT_EQ(numbered<InfimedRecorder>(3),
              (Told{"1001 infimed_aquire_changed", "1002 infimed_edge_changed",
                    "1003 infimed_window_changed", "1004 infimed_level_changed",
                    "1005 infimed_mask_changed", "1008 infimed_horiz_reverse_changed",
                    "1009 infimed_vert_reverse_changed", "1012 infimed_invert_changed",
                    "1013 infimed_version_changed", "2000 infimed_error_message"}));
    EXPECT_EQ(numbered<TransferRecorder>(4),
              (Told{"0 establishing_comms", "1 transfer_started", "2 progress_changed",
                    "3 transfer_cancelled", "4 transfer_complete"}));
    EXPECT_EQ(numbered<GehlRecorder>(5),
              (Told{"66 gehl_fluoro_acquire_changed", "70 gehl_frame_rate_changed",
                    "72 gehl_horz_reverse_changed", "76 gehl_store_loop_changed",
                    "82 gehl_receptor_changed", "83 gehl_state_changed",
                    "86 gehl_vert_reverse_changed"}));
}

TEST(Dispatch, ALostLinkIsToldToWhoHasOne) {
    TkDispatchManager manager;
    Recorder generator;
    RelayRecorder relay;
    InfimedRecorder infimed;
    TransferRecorder transfer;
    GehlRecorder gehl;
    manager.addDispatcher(&generator);
    manager.addDispatcher(&relay);
    manager.addDispatcher(&infimed);
    manager.addDispatcher(&transfer);
    manager.addDispatcher(&gehl);
    for (int eventClass = 0; eventClass < 7; ++eventClass) {
        manager.lostComms(eventClass);
        manager.CommsReEstablished(eventClass);
        EXPECT_TRUE(manager.dispatchMsg(6, eventClass, nullptr));
    }
    const Told both = {"lostComms", "CommsReEstablished"};
    EXPECT_EQ(generator.events(), both);
    EXPECT_EQ(infimed.events(), both);
    EXPECT_EQ(gehl.events(), both);
    EXPECT_EQ(relay.events(), Told{});
    EXPECT_EQ(transfer.events(), Told{});
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
    EXPECT_EQ(last.events(), Told{}) << "removed before its turn";
    EXPECT_EQ(added.events(), Told{}) << "added too late for this one";
    manager.dispatchMsg(1, Tk::MA, nullptr);
    EXPECT_EQ(changing.events(), Told{"radiographic_Kv_Changed"});
    EXPECT_EQ(added.events(), Told{"radiographic_Ma_Changed"});
}

TEST(Dispatch, RemovalWaitsForTheOtherThread) {
    TkDispatchManager manager;
    Gate gate;
    Recorder slow([&](const std::string &) { gate.pass(); });
    manager.addDispatcher(&slow);
    std::thread producer([&] { manager.dispatchMsg(1, Tk::KV, nullptr); });
    EXPECT_TRUE(eventually([&] { return gate.inside(); }));
    std::atomic<bool> removing{false};
    std::atomic<bool> removed{false};
    std::thread remover([&] {
        removing = true;
        EXPECT_TRUE(manager.removeDispatcher(&slow));
        removed = true;
    });
    EXPECT_TRUE(eventually([&] { return removing.load(); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // enough to go wrong
    EXPECT_FALSE(removed) << "the dispatcher is still in use";
    gate.open();
    remover.join();
    producer.join();
}

TEST(Dispatch, TwoThatRemoveEachOtherBothEnd) {
    for (int round = 0; round < 100; ++round) {
        TkDispatchManager manager;
        std::atomic<int> inside{0};
        const auto meet = [&] {
            for (++inside; inside < 2;) {
                std::this_thread::yield();
            }
        };
        std::atomic<TkBaseDispatcher *> other{nullptr};
        Recorder first([&](const std::string &) {
            meet();
            EXPECT_TRUE(manager.removeDispatcher(other));
        });
        TransferRecorder second([&](const std::string &) {
            meet();
            EXPECT_TRUE(manager.removeDispatcher(&first));
        });
        other = &second;
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
        const int before = delivered;
        manager.addDispatcher(passing.get());
        while (delivered == before) {
            std::this_thread::yield();
        }
        EXPECT_TRUE(manager.removeDispatcher(passing.get()));
        return delivered > 20;
    }));
    ended = true;
    for (std::thread &producer : producers) {
        producer.join();
    }
}

} // namespace
