#ifndef TKWINDOWSDISPATCHER_H
#define TKWINDOWSDISPATCHER_H

#include "tk.h"
#include "tkdispatchers.h"
#include "tkplatform.h"

#include <atomic>

class TkGeneratorControl;

/// Posts generator events as messages to a window, so that an application with a message loop hears
/// of them on its own thread without a callback class. Every message has the number MESSAGE:
///
///     wParam              lParam
///     0                   0            the link is lost
///     1                   0            it is back
///     Tk::ER, Tk::EL      0            an error waits in getError, getLatchedError
///     any other number    the value    a parameter of Tk::TextCommands
///
/// The value is what getGenParam gave when the message was posted.
///
/// A post never waits. A message to a closed window or a full queue is lost; the parameter can
/// still be read, and its next change is posted again. The meter's status, patient size, remote
/// tomography, bolus chase and rotational angiography aren't posted. A change of the tube is posted
/// as "TB", also when "TU" told of it.
///
/// The object registers itself with the one event manager of the process: it hears of the events of
/// all engines, and reads the values of its own. The operations run on the engine's thread,
/// lostComms also on the thread that drops the connection. A class derived from it removes the
/// object in its own destructor.
class TKGEN_EXPORT TkWindowsDispatcher : public TkGenDispatcher {
  public:
    static constexpr unsigned int MESSAGE = 65534; ///< of every message
    static constexpr unsigned long LINK_LOST = 0;  ///< wParam of lostComms
    static constexpr unsigned long LINK_BACK = 1;  ///< wParam of CommsReEstablished

    /// Registers itself and posts from now on. Neither is owned; both must outlive the object, the
    /// window only if its messages are to arrive: a window that was closed, or null, drops them.
    /// With a null control it isn't registered and posts nothing.
    TkWindowsDispatcher(TkGeneratorControl *pControl, HWND hWnd);

    /// Removes itself. It waits for an operation that is running on another thread.
    ~TkWindowsDispatcher() override;

    /// A copy has the same control and window but isn't registered. An assignment changes both and
    /// no registration.
    TkWindowsDispatcher(const TkWindowsDispatcher &other);
    TkWindowsDispatcher &operator=(const TkWindowsDispatcher &other);

    /// Sends all later events to another window, or to none if it is null. From any thread; it
    /// takes no lock.
    void setWindowHandle(HWND hWnd) { m_hWnd = hWnd; }

  protected:
    void lostComms() override { post(LINK_LOST, 0); }
    void CommsReEstablished() override { post(LINK_BACK, 0); }

    void radiographic_Kv_Changed() override { postValue(Tk::KV); }
    void radiographic_Ma_Changed() override { postValue(Tk::MA); }
    void radiographic_Ms_Changed() override { postValue(Tk::MS); }
    void radiographic_Mas_Changed() override { postValue(Tk::MX); }
    void radiographic_Technique_Changed() override { postValue(Tk::ET); }
    void radiographic_Prep_Changed(void *) override { postValue(Tk::PR); }
    void radiographic_Exposure_Changed(void *) override { postValue(Tk::XR); }
    void radiographic_Film_Screen_Changed() override { postValue(Tk::FS); }
    void radiographic_AEC_Fields_Changed() override { postValue(Tk::FI); }
    void radiographic_Density_Changed() override { postValue(Tk::FN); }
    void radiographic_Post_Mas_Changed() override { postValue(Tk::AP); }
    void radiographic_Post_Time_Changed() override { postValue(Tk::AT); }
    void radiographic_APR_Code_Changed() override { postValue(Tk::AI); }

    void fluoroscopic_Kv_Changed() override { postValue(Tk::FLK); }
    void fluoroscopic_Ma_Changed() override { postValue(Tk::FLM); }
    void fluoroscopic_PPS_Changed() override { postValue(Tk::FLS); }
    void fluoroscopic_Mode_Changed() override { postValue(Tk::FLF); }
    void fluoroscopic_Prep_Changed(void *) override { postValue(Tk::FLP); }
    void fluoroscopic_ABS_Changed() override { postValue(Tk::FLA); }
    void fluoroscopic_Exposure_Changed(void *) override { postValue(Tk::FLX); }
    void fluoroscopic_Rad_Curve_Changed() override { postValue(Tk::FLC); }
    void fluoroscopic_ABS_Curve_Changed() override { postValue(Tk::FLO); }
    void fluoroscopic_Dose_Changed() override { postValue(Tk::FLD); }
    void fluoroscopic_MAG_Changed() override { postValue(Tk::FLZ); }
    void fluoroscopic_Inter_Timer_Changed() override { postValue(Tk::FLI); }
    void fluoroscopic_Accum_Timer_Changed() override { postValue(Tk::FLT); }

    void tomography_Angle_Changed() override { postValue(Tk::ATA); }
    void tomography_Cutline_Changed() override { postValue(Tk::ATC); }

    void dap_Accumulated_Changed() override { postValue(Tk::DA); }
    void dap_Rate_Changed() override { postValue(Tk::DR); }
    void dap_Test_Changed() override { postValue(Tk::DT); }

    void generator_Workstation_Changed() override { postValue(Tk::WS); }
    void generator_Focal_Spot_Changed() override { postValue(Tk::FO); }
    void generator_Bucky_Changed() override { postValue(Tk::BU); }
    void generator_Tube_Changed() override { postValue(Tk::TB); }
    void generator_AEC_Lock_Changed() override { postValue(Tk::AL); }
    void generator_Cine_RunTime_Changed() override { postValue(Tk::CN); }
    void generator_Error() override { post(Tk::ER, 0); }
    void generator_Latched_Error() override { post(Tk::EL, 0); }
    void generator_Ma_Cal_Changed() override { postValue(Tk::MC); }
    void generator_Filament_Cal_Changed() override { postValue(Tk::FC); }

    void tube_Heat_Units_Changed() override { postValue(Tk::HE); }

    void room_Auto_Position_Changed() override { postValue(Tk::ATP); }
    void room_Collimator_Changed() override { postValue(Tk::COL); }
    void room_Filter_Changed() override { postValue(Tk::FIL); }
    void room_Rotation_Selection_Changed() override { postValue(Tk::FP); }

  private:
    void post(unsigned long wParam, long lParam);
    void postValue(Tk::TextCommands parameter);

    std::atomic<TkGeneratorControl *> m_pControl;
    std::atomic<HWND> m_hWnd;
};

#endif
