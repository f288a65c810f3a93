#include "record_fields.h"

#include "tkbinary_system.h"

namespace {

RecordKind dateTime() {
    using Record = TkBinary_DateTime;
    RecordKind kind =
        fields::kind<Record>("datetime", {FIELD(Year), WITHIN(Month, 1, 12), WITHIN(Day, 1, 31),
                                          WITHIN(Hour, 0, 23), WITHIN(Min, 0, 59), SHOWN(Sec)});
    kind.use = RecordUse::present;
    return kind;
}

RecordKind errorLog() {
    using Record = TkBinary_ErrorLog;
    RecordKind kind = fields::kind<Record>(
        "errorlog", {SHOWN(TotalErrors), SHOWN(ErrorNum), SHOWN(ErrorCode), SHOWN(Year),
                     SHOWN(Month),       SHOWN(Day),      SHOWN(Hour),      SHOWN(Min),
                     SHOWN(RadKV),       SHOWN(RadMA),    SHOWN(RadMAS),    SHOWN(RadTime),
                     SHOWN(Density),     SHOWN(Receptor), SHOWN(Technique), SHOWN(Focus),
                     SHOWN(Filmscreen),  SHOWN(Fields),   SHOWN(FluoroKV),  SHOWN(FluoroMA)});
    kind.use = RecordUse::log;
    kind.first = 1;
    kind.last = std::numeric_limits<unsigned char>::max();
    return kind;
}

RecordKind statistics() {
    using Record = TkBinary_Statistics;
    RecordKind kind =
        fields::kind<Record>("statistics", {COUNTER(Tube1Exposures), COUNTER(Tube2Exposures),
                                            COUNTER(FluoroHours), SHOWN(GeneratorExposures)});
    kind.use = RecordUse::present;
    return kind;
}

RecordKind genLimits() {
    using Record = TkBinary_GenLimits;
    return fields::kind<Record>("genlimits",
                                {FIELD(Max_KW_Limit), FIELD(Max_KW), MA(Max_MA_Limit), MA(Max_MA),
                                 MA(Min_MA_Limit), MA(Min_MA), MAS(Max_MAS_Limit), MAS(Max_MAS)});
}

RecordKind genType() {
    using Record = TkBinary_GenType;
    return fields::kind<Record>("gentype", {FIELD(Type), FIELD(Reserved1), FIELD(Reserved2)});
}

RecordKind ioConfig() {
    using Record = TkBinary_IOConfig;
    RecordKind kind = fields::kind<Record>("ioconfig", {SHOWN(WorkStation), SHOWN(State),
                                                        FIELD(Out1), FIELD(Out2), FIELD(Out3),
                                                        FIELD(In1), FIELD(In2), FIELD(In3)});
    kind.last = Record::WORKSTATIONS - 1;
    kind.lastState = std::numeric_limits<unsigned char>::max();
    kind.select = [station = fields::selectBy(&Record::WorkStation),
                   state = fields::selectBy(&Record::State)](TkBinaryInterface &record,
                                                             const Instance &instance) {
        station(record, instance);
        state(record, {instance.state, 0});
    };
    return kind;
}

RecordKind dapConfig() {
    using Record = TkBinary_DAPConfig;
    return fields::kind<Record>("dapconfig", {SWITCH(Enabled), FIELD(Mode), WORD(Calibration1),
                                              WORD(Calibration2), FIELD(TypeLimit1), FIELD(Type1),
                                              FIELD(TypeLimit2), FIELD(Type2), WORD(Test1),
                                              WORD(Test2), WORD(AccumAlarm), WORD(RateAlarm),
                                              SWITCH(Printer), SWITCH(RateDisplay)});
}

RecordKind bypass() {
    using Record = TkBinary_Bypass;
    RecordKind kind = fields::kind<Record>("bypass", {FIELD(Enable)});
    kind.use = RecordUse::switched;
    return kind;
}

} // namespace

std::vector<RecordKind> systemRecords() {
    return {dateTime(), errorLog(), statistics(), genLimits(),
            genType(),  ioConfig(), dapConfig(),  bypass()};
}
