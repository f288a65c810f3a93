#ifndef TKGEN_TESTS_DISPATCHER_H
#define TKGEN_TESTS_DISPATCHER_H

#include "tkdispatchers.h"

#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

// The operations of each interface in their order: P plain, D with data.
// clang-format off
#define TKGEN_TESTS_GENERATOR(P, D) \
    P(lostComms) P(CommsReEstablished) P(radiographic_Kv_Changed) P(radiographic_Ma_Changed) \
    P(radiographic_Ms_Changed) P(radiographic_Mas_Changed) P(radiographic_Technique_Changed) \
    D(radiographic_Prep_Changed) D(radiographic_Exposure_Changed) \
    P(radiographic_Film_Screen_Changed) P(radiographic_AEC_Fields_Changed) \
    P(radiographic_Density_Changed) P(radiographic_Post_Mas_Changed) \
    P(radiographic_Post_Time_Changed) P(radiographic_APR_Code_Changed) \
    P(fluoroscopic_Kv_Changed) P(fluoroscopic_Ma_Changed) P(fluoroscopic_PPS_Changed) \
    P(fluoroscopic_Mode_Changed) D(fluoroscopic_Prep_Changed) P(fluoroscopic_ABS_Changed) \
    D(fluoroscopic_Exposure_Changed) P(fluoroscopic_Rad_Curve_Changed) \
    P(fluoroscopic_ABS_Curve_Changed) P(fluoroscopic_Dose_Changed) P(fluoroscopic_MAG_Changed) \
    P(fluoroscopic_Inter_Timer_Changed) P(fluoroscopic_Accum_Timer_Changed) \
    P(tomography_Angle_Changed) P(tomography_Cutline_Changed) P(dap_Accumulated_Changed) \
    P(dap_Rate_Changed) P(dap_Test_Changed) P(dap_Status_Changed) \
    P(generator_Workstation_Changed) P(generator_Focal_Spot_Changed) \
    P(generator_Bucky_Changed) P(generator_Tube_Changed) P(generator_AEC_Lock_Changed) \
    P(generator_Cine_RunTime_Changed) P(generator_Error) P(generator_Latched_Error) \
    P(generator_Ma_Cal_Changed) P(generator_Filament_Cal_Changed) \
    P(generator_Patient_Size_Changed) P(generator_Remote_Tomo_Changed) \
    P(tube_Heat_Units_Changed) P(room_Auto_Position_Changed) P(room_Collimator_Changed) \
    P(room_Filter_Changed) P(room_Rotation_Selection_Changed) P(bolus_Chase_Phase_Changed) \
    P(bolus_Chase_Interval_Changed) P(bolus_Chase_Frame_Rate_Changed) \
    P(rotational_Angiography_Phase_Changed) P(rotational_Angiography_Angle_Changed) \
    P(rotational_Angiography_Frame_Rate_Changed)
#define TKGEN_TESTS_RELAY(P, D) \
    P(tcpip_Server_Failed) P(tcpip_Server_Create) D(tcpip_Server_Ready) \
    P(tcpip_Server_Wait_For_Connection) D(tcpip_Server_Accept) P(tcpip_Server_Shutdown) \
    D(tcpip_Server_Client) D(tcpip_Server_Control) D(tcpip_Server_Description) \
    P(tcpip_Server_Enumerate) D(tcpip_Server_Connect) P(tcpip_Server_Disconnect) \
    D(tcpip_Server_Logoff) P(tcpip_Client_Failed) P(tcpip_Client_Create) \
    D(tcpip_Client_Logging) D(tcpip_Client_Logon) P(tcpip_Client_Description) \
    P(tcpip_Client_Enumerating) P(tcpip_Client_Addr_Ready) P(tcpip_Client_Data_Ready) \
    D(tcpip_Client_Connect) P(tcpip_Client_Disconnect) P(tcpip_Client_Message) \
    P(tcpip_Client_Shutdown) D(tcpip_Client_Site_Down) P(tcpip_Client_Server_Down) \
    P(tcpip_Control_Failed) P(tcpip_Control_Create) D(tcpip_Control_Logging) \
    D(tcpip_Control_Logon) P(tcpip_Control_Description) P(tcpip_Control_Enumerating) \
    P(tcpip_Control_Addr_Ready) P(tcpip_Control_Data_Ready) D(tcpip_Control_Connecting) \
    P(tcpip_Control_Connected) P(tcpip_Control_Rejected) P(tcpip_Control_Disconnect) \
    P(tcpip_Control_Message) P(tcpip_Control_Shutdown) D(tcpip_Control_Site_Down) \
    P(tcpip_Control_Server_Down)
#define TKGEN_TESTS_INFIMED(P, D) \
    P(lostComms) P(CommsReEstablished) P(infimed_aquire_changed) P(infimed_edge_changed) \
    P(infimed_window_changed) P(infimed_level_changed) P(infimed_mask_changed) \
    P(infimed_horiz_reverse_changed) P(infimed_vert_reverse_changed) P(infimed_error_message) \
    P(infimed_invert_changed) P(infimed_version_changed)
#define TKGEN_TESTS_TRANSFER(P, D) \
    P(establishing_comms) P(transfer_started) P(progress_changed) P(transfer_cancelled) \
    P(transfer_complete)
#define TKGEN_TESTS_GEHL(P, D) \
    P(lostComms) P(CommsReEstablished) P(gehl_state_changed) P(gehl_frame_rate_changed) \
    P(gehl_fluoro_acquire_changed) P(gehl_store_loop_changed) P(gehl_horz_reverse_changed) \
    P(gehl_vert_reverse_changed) P(gehl_receptor_changed)
// clang-format on

/// Notes the events that a dispatcher hears of by their operations' names, those with data as
/// "name=1". A hook, set before events come, runs inside the operation.
class Events {
  public:
    using Hook = std::function<void(const std::string &event)>;

    explicit Events(Hook hook = nullptr) : m_Hook(std::move(hook)) {}

    /// The events since the last call.
    std::vector<std::string> events() {
        const std::lock_guard<std::mutex> lock(m_Lock);
        return std::exchange(m_Events, {});
    }

  protected:
    void note(const std::string &event) {
        {
            const std::lock_guard<std::mutex> lock(m_Lock);
            m_Events.push_back(event);
        }
        if (m_Hook) {
            m_Hook(event);
        }
    }

  private:
    const Hook m_Hook;
    std::mutex m_Lock;
    std::vector<std::string> m_Events;
};

#define TKGEN_TESTS_PLAIN(name)                                                                    \
    void name() override {                                                                         \
        note(#name);                                                                               \
    }
#define TKGEN_TESTS_DATA(name)                                                                     \
    void name(void *data) override {                                                               \
        int value = 0;                                                                             \
        std::memcpy(&value, data, sizeof value); /* it needn't be an int */                        \
        note(#name "=" + std::to_string(value));                                                   \
    }
#define TKGEN_TESTS_RECORDER(Class, Interface, OPERATIONS)                                         \
    class Class : public Interface, public Events {                                                \
      public:                                                                                      \
        using Events::Events;                                                                      \
                                                                                                   \
      protected:                                                                                   \
        OPERATIONS(TKGEN_TESTS_PLAIN, TKGEN_TESTS_DATA)                                            \
    };

TKGEN_TESTS_RECORDER(Recorder, TkGenDispatcher, TKGEN_TESTS_GENERATOR)
TKGEN_TESTS_RECORDER(RelayRecorder, TkTCPIPDispatcher, TKGEN_TESTS_RELAY)
TKGEN_TESTS_RECORDER(InfimedRecorder, TkInfimedDispatcher, TKGEN_TESTS_INFIMED)
TKGEN_TESTS_RECORDER(TransferRecorder, TkZModemDispatcher, TKGEN_TESTS_TRANSFER)
TKGEN_TESTS_RECORDER(GehlRecorder, TkGEHLDispatcher, TKGEN_TESTS_GEHL)

#endif
