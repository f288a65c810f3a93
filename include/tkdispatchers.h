#ifndef TKDISPATCHERS_H
#define TKDISPATCHERS_H

#include "tkexport.h"

/// Root of the callback interfaces. An application derives from one of the five interfaces below,
/// overrides the operations that it cares about, and registers the object with Tk::addDispatcher.
/// It must remove the object before destroying it.
///
/// Operations are called by the event manager alone, on the thread that produced the event, and
/// hold that thread up until they return: keep them short, and hand longer work to a thread of
/// your own. They may add and remove dispatchers, transmit, switch polling and read values; a
/// transmission that waits for its answer can't be answered from the worker thread that runs the
/// operation, and returns false there. An exception that leaves an operation is dropped.
class TKGEN_EXPORT TkBaseDispatcher {
  public:
    TkBaseDispatcher() = default;
    TkBaseDispatcher(const TkBaseDispatcher &) = default;
    TkBaseDispatcher &operator=(const TkBaseDispatcher &) = default;

    /// The class of events that the object receives, 1 to 5. Asked once, at registration; no
    /// derived class overrides it.
    virtual int rtti() = 0;

    virtual ~TkBaseDispatcher() = default;
};

/// Events of the generator, class 1. An operation tells that the parameter named behind it changed;
/// the new value is already in TkGeneratorControl::getGenParam. generator_Error and
/// generator_Latched_Error tell of every error: its number waits in getError or getLatchedError.
///
/// The four with an argument get a pointer to the received int, valid during the call only. While
/// exposures are enabled they are called for every item that arrives, changed or not; while they
/// aren't, those of exposures on a change, and those of preparations not at all.
///
/// All run on the engine's worker thread; lostComms also on the thread that drops the connection.
class TKGEN_EXPORT TkGenDispatcher : public TkBaseDispatcher {
  public:
    static constexpr int CLASS = 1; ///< of the events

    int rtti() final { return CLASS; }

  protected:
    friend class TkDispatchManager;
    friend struct TkCommandTable;

    virtual void lostComms() {}          ///< the link is lost, and the values with it
    virtual void CommsReEstablished() {} ///< enough is known again to work with the far end

    // Radiography
    virtual void radiographic_Kv_Changed() {}             ///< "KV"
    virtual void radiographic_Ma_Changed() {}             ///< "MA"
    virtual void radiographic_Ms_Changed() {}             ///< "MS"
    virtual void radiographic_Mas_Changed() {}            ///< "MX"
    virtual void radiographic_Technique_Changed() {}      ///< "ET"
    virtual void radiographic_Prep_Changed(void *) {}     ///< "PR"
    virtual void radiographic_Exposure_Changed(void *) {} ///< "XR"
    virtual void radiographic_Film_Screen_Changed() {}    ///< "FS"
    virtual void radiographic_AEC_Fields_Changed() {}     ///< "FI"
    virtual void radiographic_Density_Changed() {}        ///< "FN"
    virtual void radiographic_Post_Mas_Changed() {}       ///< "AP"
    virtual void radiographic_Post_Time_Changed() {}      ///< "AT"
    virtual void radiographic_APR_Code_Changed() {}       ///< "AI"

    // Fluoroscopy
    virtual void fluoroscopic_Kv_Changed() {}             ///< "FLK"
    virtual void fluoroscopic_Ma_Changed() {}             ///< "FLM"
    virtual void fluoroscopic_PPS_Changed() {}            ///< "FLS"
    virtual void fluoroscopic_Mode_Changed() {}           ///< "FLF"
    virtual void fluoroscopic_Prep_Changed(void *) {}     ///< "FLP"
    virtual void fluoroscopic_ABS_Changed() {}            ///< "FLA"
    virtual void fluoroscopic_Exposure_Changed(void *) {} ///< "FLX"
    virtual void fluoroscopic_Rad_Curve_Changed() {}      ///< "FLC"
    virtual void fluoroscopic_ABS_Curve_Changed() {}      ///< "FLO"
    virtual void fluoroscopic_Dose_Changed() {}           ///< "FLD"
    virtual void fluoroscopic_MAG_Changed() {}            ///< "FLZ"
    virtual void fluoroscopic_Inter_Timer_Changed() {}    ///< "FLI"
    virtual void fluoroscopic_Accum_Timer_Changed() {}    ///< "FLT"

    // Tomography
    virtual void tomography_Angle_Changed() {}   ///< "ATA"
    virtual void tomography_Cutline_Changed() {} ///< "ATC"

    // Dose-area-product meter
    virtual void dap_Accumulated_Changed() {} ///< "DA"
    virtual void dap_Rate_Changed() {}        ///< "DR"
    virtual void dap_Test_Changed() {}        ///< "DT"
    virtual void dap_Status_Changed() {}      ///< "DS"

    // Generator
    virtual void generator_Workstation_Changed() {}  ///< "WS"
    virtual void generator_Focal_Spot_Changed() {}   ///< "FO"
    virtual void generator_Bucky_Changed() {}        ///< "BU"
    virtual void generator_Tube_Changed() {}         ///< "TB" or "TU"
    virtual void generator_AEC_Lock_Changed() {}     ///< "AL"
    virtual void generator_Cine_RunTime_Changed() {} ///< "CN"
    virtual void generator_Error() {}                ///< "ER"
    virtual void generator_Latched_Error() {}        ///< "EL"
    virtual void generator_Ma_Cal_Changed() {}       ///< "MC"
    virtual void generator_Filament_Cal_Changed() {} ///< "FC"
    virtual void generator_Patient_Size_Changed() {} ///< "PS"
    virtual void generator_Remote_Tomo_Changed() {}  ///< "TR"

    // Tube
    virtual void tube_Heat_Units_Changed() {} ///< "HE"

    // Room
    virtual void room_Auto_Position_Changed() {}      ///< "ATP"
    virtual void room_Collimator_Changed() {}         ///< "COL"
    virtual void room_Filter_Changed() {}             ///< "FIL"
    virtual void room_Rotation_Selection_Changed() {} ///< "FP"

    // Bolus chase
    virtual void bolus_Chase_Phase_Changed() {}      ///< "BCP"
    virtual void bolus_Chase_Interval_Changed() {}   ///< "BCI"
    virtual void bolus_Chase_Frame_Rate_Changed() {} ///< "BCF"

    // Rotational angiography
    virtual void rotational_Angiography_Phase_Changed() {}      ///< "RAP"
    virtual void rotational_Angiography_Angle_Changed() {}      ///< "RAA"
    virtual void rotational_Angiography_Frame_Rate_Changed() {} ///< "RAF"
};

/// Events of the relay, class 2: numbers from 100 for the server, 200 for the client endpoint and
/// 300 for the control endpoint, in the order given. Behind an operation stands what its argument
/// points to; texts end with a zero byte and stay valid until the next event of the same kind. They
/// run on the relay object's own threads, and inside calls such as logon on the caller's.
class TKGEN_EXPORT TkTCPIPDispatcher : public TkBaseDispatcher {
  public:
    static constexpr int CLASS = 2; ///< of the events

    int rtti() final { return CLASS; }

  protected:
    friend class TkDispatchManager;

    // The relay server
    virtual void tcpip_Server_Failed() {}
    virtual void tcpip_Server_Create() {}
    virtual void tcpip_Server_Ready(void *) {} ///< SITEINFO *: the server itself
    virtual void tcpip_Server_Wait_For_Connection() {}
    virtual void tcpip_Server_Accept(void *) {} ///< TkServerSocket *, new
    virtual void tcpip_Server_Shutdown() {}
    virtual void tcpip_Server_Client(void *) {}      ///< TkServerSocket *, now a client
    virtual void tcpip_Server_Control(void *) {}     ///< TkServerSocket *, now a control
    virtual void tcpip_Server_Description(void *) {} ///< TkServerSocket *
    virtual void tcpip_Server_Enumerate() {}
    virtual void tcpip_Server_Connect(void *) {} ///< TkServerSocket *
    virtual void tcpip_Server_Disconnect() {}
    virtual void tcpip_Server_Logoff(void *) {} ///< SITEINFO *: the site that left

    // The client endpoint: a site that waits to be reached
    virtual void tcpip_Client_Failed() {}
    virtual void tcpip_Client_Create() {}
    virtual void tcpip_Client_Logging(void *) {} ///< text: the address given to logon
    virtual void tcpip_Client_Logon(void *) {}   ///< TkClientSocket *
    virtual void tcpip_Client_Description() {}
    virtual void tcpip_Client_Enumerating() {}
    virtual void tcpip_Client_Addr_Ready() {}
    virtual void tcpip_Client_Data_Ready() {}
    virtual void tcpip_Client_Connect(void *) {} ///< text: the address of the control
    virtual void tcpip_Client_Disconnect() {}
    virtual void tcpip_Client_Message() {}
    virtual void tcpip_Client_Shutdown() {}
    virtual void tcpip_Client_Site_Down(void *) {} ///< text: what came behind "SITEDOWN:"
    virtual void tcpip_Client_Server_Down() {}

    // The control endpoint: it reaches a site
    virtual void tcpip_Control_Failed() {}
    virtual void tcpip_Control_Create() {}
    virtual void tcpip_Control_Logging(void *) {} ///< text: the address given to logon
    virtual void tcpip_Control_Logon(void *) {}   ///< TkClientSocket *
    virtual void tcpip_Control_Description() {}
    virtual void tcpip_Control_Enumerating() {}
    virtual void tcpip_Control_Addr_Ready() {}
    virtual void tcpip_Control_Data_Ready() {}
    virtual void tcpip_Control_Connecting(void *) {} ///< text: the address given to connect
    virtual void tcpip_Control_Connected() {}
    virtual void tcpip_Control_Rejected() {}
    virtual void tcpip_Control_Disconnect() {}
    virtual void tcpip_Control_Message() {}
    virtual void tcpip_Control_Shutdown() {}
    virtual void tcpip_Control_Site_Down(void *) {} ///< text: what came behind "SITEDOWN:"
    virtual void tcpip_Control_Server_Down() {}
};

/// Events of an Infimed console, class 3. The new value is in TkInfimedControl::getInfimedParam, a
/// text in TkInfimedControl::errorMsg. Threads as for TkGenDispatcher.
class TKGEN_EXPORT TkInfimedDispatcher : public TkBaseDispatcher {
  public:
    static constexpr int CLASS = 3; ///< of the events

    int rtti() final { return CLASS; }

  protected:
    friend class TkDispatchManager;
    friend struct TkInfimedCommandTable;

    virtual void lostComms() {}          ///< the link is lost, and the acquire state with it
    virtual void CommsReEstablished() {} ///< enough is known again to work with the far end

    virtual void infimed_aquire_changed() {}        ///< acquire state
    virtual void infimed_edge_changed() {}          ///< edge
    virtual void infimed_window_changed() {}        ///< window
    virtual void infimed_level_changed() {}         ///< level
    virtual void infimed_mask_changed() {}          ///< mask
    virtual void infimed_horiz_reverse_changed() {} ///< horizontal reverse
    virtual void infimed_vert_reverse_changed() {}  ///< vertical reverse
    virtual void infimed_error_message() {}         ///< a text waits, or is told anew
    virtual void infimed_invert_changed() {}        ///< invert
    virtual void infimed_version_changed() {}       ///< version
};

/// Events of a file transfer, class 4, on the thread that runs the transfer.
class TKGEN_EXPORT TkZModemDispatcher : public TkBaseDispatcher {
  public:
    static constexpr int CLASS = 4; ///< of the events

    int rtti() final { return CLASS; }

  protected:
    friend class TkDispatchManager;

    virtual void establishing_comms() {} ///< the far end is being looked for
    virtual void transfer_started() {}   ///< a file begins
    virtual void progress_changed() {}   ///< bytes have gone
    virtual void transfer_cancelled() {} ///< the transfer ended before its time
    virtual void transfer_complete() {}  ///< the transfer is done
};

/// Events of a GEHL console, class 5. The new value is in TkGEHLControl::getGEHLParam. Threads as
/// for TkGenDispatcher.
class TKGEN_EXPORT TkGEHLDispatcher : public TkBaseDispatcher {
  public:
    static constexpr int CLASS = 5; ///< of the events

    int rtti() final { return CLASS; }

  protected:
    friend class TkDispatchManager;
    friend struct TkGEHLCommandTable;

    virtual void lostComms() {}          ///< the link is lost, and the values with it
    virtual void CommsReEstablished() {} ///< enough is known again to work with the far end

    virtual void gehl_state_changed() {}          ///< state
    virtual void gehl_frame_rate_changed() {}     ///< frame rate
    virtual void gehl_fluoro_acquire_changed() {} ///< fluoroscopic acquisition
    virtual void gehl_store_loop_changed() {}     ///< store loop
    virtual void gehl_horz_reverse_changed() {}   ///< horizontal reverse
    virtual void gehl_vert_reverse_changed() {}   ///< vertical reverse
    virtual void gehl_receptor_changed() {}       ///< receptor
};

#endif
