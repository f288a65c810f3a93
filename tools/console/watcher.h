#ifndef TKCONSOLE_WATCHER_H
#define TKCONSOLE_WATCHER_H

#include "tk.h"
#include "tkdispatchers.h"

/// Turns the generator's events of parameters into one.
class Watcher : public TkGenDispatcher {
  protected:
    /// On the engine's worker thread. `value` points to the received value, or is null where the
    /// event brings none. The tube has one event for two parameters, and is told as Tk::TU.
    virtual void onValue(Tk::TextCommands parameter, const int *value) = 0;

  private:
    void told(Tk::TextCommands parameter, const void *value = nullptr) {
        onValue(parameter, static_cast<const int *>(value));
    }

    // Radiography
    void radiographic_Kv_Changed() override { told(Tk::KV); }
    void radiographic_Ma_Changed() override { told(Tk::MA); }
    void radiographic_Ms_Changed() override { told(Tk::MS); }
    void radiographic_Mas_Changed() override { told(Tk::MX); }
    void radiographic_Technique_Changed() override { told(Tk::ET); }
    void radiographic_Prep_Changed(void *value) override { told(Tk::PR, value); }
    void radiographic_Exposure_Changed(void *value) override { told(Tk::XR, value); }
    void radiographic_Film_Screen_Changed() override { told(Tk::FS); }
    void radiographic_AEC_Fields_Changed() override { told(Tk::FI); }
    void radiographic_Density_Changed() override { told(Tk::FN); }
    void radiographic_Post_Mas_Changed() override { told(Tk::AP); }
    void radiographic_Post_Time_Changed() override { told(Tk::AT); }
    void radiographic_APR_Code_Changed() override { told(Tk::AI); }

    // Fluoroscopy
    void fluoroscopic_Kv_Changed() override { told(Tk::FLK); }
    void fluoroscopic_Ma_Changed() override { told(Tk::FLM); }
    void fluoroscopic_PPS_Changed() override { told(Tk::FLS); }
    void fluoroscopic_Mode_Changed() override { told(Tk::FLF); }
    void fluoroscopic_Prep_Changed(void *value) override { told(Tk::FLP, value); }
    void fluoroscopic_ABS_Changed() override { told(Tk::FLA); }
    void fluoroscopic_Exposure_Changed(void *value) override { told(Tk::FLX, value); }
    void fluoroscopic_Rad_Curve_Changed() override { told(Tk::FLC); }
    void fluoroscopic_ABS_Curve_Changed() override { told(Tk::FLO); }
    void fluoroscopic_Dose_Changed() override { told(Tk::FLD); }
    void fluoroscopic_MAG_Changed() override { told(Tk::FLZ); }
    void fluoroscopic_Inter_Timer_Changed() override { told(Tk::FLI); }
    void fluoroscopic_Accum_Timer_Changed() override { told(Tk::FLT); }

    // Tomography
    void tomography_Angle_Changed() override { told(Tk::ATA); }
    void tomography_Cutline_Changed() override { told(Tk::ATC); }

    // Dose-area-product meter
    void dap_Accumulated_Changed() override { told(Tk::DA); }
    void dap_Rate_Changed() override { told(Tk::DR); }
    void dap_Test_Changed() override { told(Tk::DT); }
    void dap_Status_Changed() override { told(Tk::DS); }

    // Generator
    void generator_Workstation_Changed() override { told(Tk::WS); }
    void generator_Focal_Spot_Changed() override { told(Tk::FO); }
    void generator_Bucky_Changed() override { told(Tk::BU); }
    void generator_Tube_Changed() override { told(Tk::TU); }
    void generator_AEC_Lock_Changed() override { told(Tk::AL); }
    void generator_Cine_RunTime_Changed() override { told(Tk::CN); }
    void generator_Error() override { told(Tk::ER); }
    void generator_Latched_Error() override { told(Tk::EL); }
    void generator_Ma_Cal_Changed() override { told(Tk::MC); }
    void generator_Filament_Cal_Changed() override { told(Tk::FC); }
    void generator_Patient_Size_Changed() override { told(Tk::PS); }
    void generator_Remote_Tomo_Changed() override { told(Tk::TR); }

    // Tube
    void tube_Heat_Units_Changed() override { told(Tk::HE); }

    // Room
    void room_Auto_Position_Changed() override { told(Tk::ATP); }
    void room_Collimator_Changed() override { told(Tk::COL); }
    void room_Filter_Changed() override { told(Tk::FIL); }
    void room_Rotation_Selection_Changed() override { told(Tk::FP); }

    // Bolus chase
    void bolus_Chase_Phase_Changed() override { told(Tk::BCP); }
    void bolus_Chase_Interval_Changed() override { told(Tk::BCI); }
    void bolus_Chase_Frame_Rate_Changed() override { told(Tk::BCF); }

    // Rotational angiography
    void rotational_Angiography_Phase_Changed() override { told(Tk::RAP); }
    void rotational_Angiography_Angle_Changed() override { told(Tk::RAA); }
    void rotational_Angiography_Frame_Rate_Changed() override { told(Tk::RAF); }
};

#endif
