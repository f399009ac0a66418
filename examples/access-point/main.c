/*
 * access-point: a wireless access point in plain C, on what ncdm-yang wrote for access-point.yang.
 *
 * What a device does itself stands here: it refuses what its radios cannot do (apply_radio,
 * apply_network), answers for state that it measures (load_status, load_system), and tells of
 * stations that come and go (roam). Everything else, the records, their checks, their place in
 * memory and in the data file, is generated. The radios are simulated.
 */
#include <getopt.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "access-point.h"
#include "zu_thread.h"

static zu_thread_master* loop;
static time_t started;

static uint32_t uptime(void) { return (uint32_t)(time(NULL) - started); }

/* ---- Configuration ---- */

static nc_int64 apply_radio(const nc_dm_id_array_t* ids, const access_point_radios_radio_t* before,
                            access_point_radios_radio_t* radio) {
  const bool wide = radio->band == ACCESS_POINT_RADIOS_RADIO_BAND_5GHZ;
  (void)ids, (void)before;
  return radio->has.channel && wide != (radio->channel >= 36) ? -1 : 0;
}

static nc_int64 apply_network(const nc_dm_id_array_t* ids,
                              const access_point_radios_radio_network_t* before,
                              access_point_radios_radio_network_t* network) {
  const bool open = network->security == ACCESS_POINT_RADIOS_RADIO_NETWORK_SECURITY_OPEN;
  (void)ids, (void)before;
  return open || network->has.passphrase ? 0 : -1;
}

/* ---- State that is measured when somebody asks ---- */

static int load_status(const nc_dm_id_array_t* ids, access_point_radios_radio_status_t* status) {
  access_point_radios_radio_t radio;
  if (access_point_radios_radio_get(ids->id, &radio) != 0) return NCDM_NO_SUCH_ENTRY;
  if (!radio.enabled) return 0; /* a radio that is off has no status */
  status->has.active_channel = status->has.utilization = status->has.noise = true;
  status->active_channel = radio.channel;
  if (!radio.has.channel) {
    status->active_channel = radio.band == ACCESS_POINT_RADIOS_RADIO_BAND_5GHZ ? 36 : 6;
  }
  status->utilization = (uint8_t)(uptime() % 101);
  status->noise = -95;
  return 0;
}

static int load_system(const nc_dm_id_array_t* ids, access_point_system_t* system) {
  access_point_system_get(ids->id, system); /* its configuration is kept for it */
  system->uptime = uptime();
  system->has.uptime = true;
  return 0;
}

/* ---- State that comes and goes ---- */

/* A station walks by: it is there for ten seconds of every twenty. */
static int roam(zu_thread* task) {
  const nc_int64 at[] = {access_point_radios_radio_next((const nc_int64[]){0}), 0};
  access_point_radios_radio_station_t station;
  access_point_radios_radio_station_init(&station);
  access_point_radios_radio_station_set(&station, "address", "02:00:5e:00:53:01");
  access_point_radios_radio_station_set(&station, "network", "guests");
  station.has.signal = station.has.connected_for = true;
  station.signal = -60;
  station.connected_for = uptime() % 20;
  if (at[0] != 0 && station.connected_for < 10) {
    access_point_radios_radio_station_put(at, &station);
  } else if (at[0] != 0) {
    access_point_radios_radio_station_drop(
        (const nc_int64[]){at[0], access_point_radios_radio_station_find(at, &station)});
  }
  zu_thread_add_timer_withname(task->master, roam, NULL, 1, "roam");
  return 0;
}

/* What the device has from the start. */
static void put_images(void) {
  for (uint8_t slot = 1; slot <= 2; ++slot) {
    access_point_firmware_image_t image;
    access_point_firmware_image_init(&image);
    image.slot = slot;
    access_point_firmware_image_set(&image, "active", slot == 1 ? "true" : "false");
    access_point_firmware_image_set(&image, "version", slot == 1 ? "2.1.0" : "2.0.7");
    access_point_firmware_image_put((const nc_int64[]){0}, &image);
  }
}

/* ---- The program ---- */

static void stop(int number) {
  (void)number;
  zu_thread_master_stop(loop);
}

static int run(const char* program, const char* name, const char* data_file) {
  if (getenv("TMPDIR") == NULL) {
    fprintf(stderr, "%s: set TMPDIR to the directory that holds the server's socket\n", program);
    return 1;
  }
  loop = zu_thread_master_create();
  if (loop == NULL) return 1;
  signal(SIGINT, stop);
  signal(SIGTERM, stop);
  started = time(NULL);
  access_point_radios_radio_operations.apply = apply_radio;
  access_point_radios_radio_network_operations.apply = apply_network;
  access_point_radios_radio_status_operations.load = load_status;
  access_point_system_operations.load = load_system;
  put_images();
  if (ncdm_model_start(&access_point_model, name, loop, data_file) != 0) return 1;
  zu_thread_add_timer_withname(loop, roam, NULL, 1, "roam");
  zu_thread_master_run(loop);
  zu_thread_master_destroy(loop);
  return 0;
}

int main(int argc, char** argv) {
  const struct option options[] = {
      {"name", required_argument, NULL, 'n'},
      {"data", required_argument, NULL, 'd'},
      {NULL, 0, NULL, 0},
  };
  const char* name = "access-point";
  const char* data_file = NULL;
  int option = 0;
  while ((option = getopt_long(argc, argv, "", options, NULL)) != -1) {
    if (option == 'n') {
      name = optarg;
    } else if (option == 'd') {
      data_file = optarg;
    } else {
      fprintf(stderr, "usage: %s [--name NAME] [--data FILE]\n", argv[0]);
      return 2;
    }
  }
  return run(argv[0], name, data_file);
}
