#include <lumagauge/lumagauge.h>
#include <stdio.h>

int main(void) { /* the blur of each frame of raw 352x288 4:2:0 video on standard input */
  static uint8_t frame[352 * 288 * 3 / 2];
  lumagauge_options options = LUMAGAUGE_OPTIONS_INIT(352, 288);
  lumagauge_record record = LUMAGAUGE_RECORD_INIT;
  lumagauge_meter *meter;
  if (lumagauge_meter_open(&options, &meter) != LUMAGAUGE_OK)
    return 1;
  while (fread(frame, sizeof frame, 1, stdin) == 1 &&
         lumagauge_meter_add(meter, frame, 352, &record) == LUMAGAUGE_OK)
    printf("%.3f\n", record.values[LUMAGAUGE_BLUR]);
  lumagauge_meter_close(meter);
}
