#ifndef TKGEN_TESTS_DISPATCHER_H
#define TKGEN_TESTS_DISPATCHER_H

#include "tkdispatchers.h"

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#define TKGEN_TESTS_OPERATIONS(X)                                                                     \
    X(lostComms)                                                                                      \
    X(CommsReEstablished)                                                                             \
    X(radiographic_Kv_Changed) X(radiographic_Ma_Changed) X(radiographic_Ms_Changed) X(               \
        radiographic_Mas_Changed) X(radiographic_Technique_Changed)                                   \
        X(radiographic_Film_Screen_Changed) X(radiographic_AEC_Fields_Changed) X(                     \
            radiographic_Density_Changed) X(radiographic_Post_Mas_Changed)                            \
            X(radiographic_Post_Time_Changed) X(radiographic_APR_Code_Changed) X(                     \
                fluoroscopic_Kv_Changed) X(fluoroscopic_Ma_Changed) X(fluoroscopic_PPS_Changed)       \
                X(fluoroscopic_Mode_Changed) X(fluoroscopic_ABS_Changed) X(                           \
                    fluoroscopic_Rad_Curve_Changed) X(fluoroscopic_ABS_Curve_Changed)                 \
                    X(fluoroscopic_Dose_Changed) X(fluoroscopic_MAG_Changed) X(                       \
                        fluoroscopic_Inter_Timer_Changed) X(fluoroscopic_Accum_Timer_Changed)         \
                        X(tomography_Angle_Changed) X(tomography_Cutline_Changed) X(                  \
                            dap_Accumulated_Changed) X(dap_Rate_Changed) X(dap_Test_Changed)          \
                            X(dap_Status_Changed) X(generator_Workstation_Changed) X(                 \
                                generator_Focal_Spot_Changed) X(generator_Bucky_Changed)              \
                                X(generator_Tube_Changed) X(generator_AEC_Lock_Changed) X(            \
                                    generator_Cine_RunTime_Changed) X(generator_Error)                \
                                    X(generator_Latched_Error) X(generator_Ma_Cal_Changed) X(         \
                                        generator_Filament_Cal_Changed)                               \
                                        X(generator_Patient_Size_Changed) X(                          \
                                            generator_Remote_Tomo_Changed) X(tube_Heat_Units_Changed) \
                                            X(room_Auto_Position_Changed) X(                          \
                                                room_Collimator_Changed) X(room_Filter_Changed)       \
                                                X(room_Rotation_Selection_Changed) X(                 \
                                                    bolus_Chase_Phase_Changed)                        \
                                                    X(bolus_Chase_Interval_Changed) X(                \
                                                        bolus_Chase_Frame_Rate_Changed)               \
                                                        X(rotational_Angiography_Phase_Changed) X(    \
                                                            rotational_Angiography_Angle_Changed)     \
                                                            X(rotational_Angiography_Frame_Rate_Changed)

#define TKGEN_TESTS_OPERATIONS_WITH_VALUE(X)                                                       \
    X(radiographic_Prep_Changed)                                                                   \
    X(radiographic_Exposure_Changed) X(fluoroscopic_Prep_Changed) X(fluoroscopic_Exposure_Changed)

/// Notes every event of the generator by its operation's name, those with a value as "name=1". A
/// hook, set before events come, runs inside the operation.
class Recorder : public TkGenDispatcher {
  public:
    using Hook = std::function<void(const std::string &event)>;

    explicit Recorder(Hook hook = nullptr) : m_Hook(std::move(hook)) {}

    /// The events since the last call.
    std::vector<std::string> events() {
        const std::lock_guard<std::mutex> lock(m_Lock);
        return std::exchange(m_Events, {});
    }

  protected:
#define X(name)                                                                                    \
    void name() override {                                                                         \
        note(#name);                                                                               \
    }
    TKGEN_TESTS_OPERATIONS(X)
#undef X
#define X(name)                                                                                    \
    void name(void *value) override {                                                              \
        note(#name "=" + std::to_string(*static_cast<int *>(value)));                              \
    }
    TKGEN_TESTS_OPERATIONS_WITH_VALUE(X)
#undef X

  private:
    void note(const std::string &event) {
        {
            const std::lock_guard<std::mutex> lock(m_Lock);
            m_Events.push_back(event);
        }
        if (m_Hook) {
            m_Hook(event);
        }
    }

    const Hook m_Hook;
    std::mutex m_Lock;
    std::vector<std::string> m_Events;
};

#endif
