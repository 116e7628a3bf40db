/*
 * Copyright 2026 The libkelp authors
 * SPDX-License-Identifier: Apache-2.0
 *
 * The native half of org.libkelp. Handles, positions and lengths come checked from the Java half;
 * what only native code can see is checked here.
 */
#include <jni.h>
#include <stddef.h>
#include <stdint.h>

#include "kelp.h"
#include "org_libkelp_Kelp.h"
#include "org_libkelp_Native.h"

/* Both halves mean the same by their constants. */
_Static_assert(org_libkelp_Kelp_SAMPLE_RATE_HZ == KELP_SAMPLE_RATE_HZ, "");
_Static_assert(org_libkelp_Kelp_FRAME_SAMPLES == KELP_FRAME_SAMPLES, "");
_Static_assert(org_libkelp_Kelp_FRAME_BYTES == KELP_FRAME_SAMPLES * sizeof(int16_t), "");
_Static_assert(org_libkelp_Kelp_LOOKAHEAD_SAMPLES == KELP_LOOKAHEAD_SAMPLES, "");
_Static_assert(org_libkelp_Kelp_MAX_PACKET_BYTES == KELP_MAX_PACKET_BYTES, "");
_Static_assert(org_libkelp_Kelp_RATE_EIGHTH == KELP_RATE_EIGHTH, "");
_Static_assert(org_libkelp_Kelp_RATE_QUARTER == KELP_RATE_QUARTER, "");
_Static_assert(org_libkelp_Kelp_RATE_HALF == KELP_RATE_HALF, "");
_Static_assert(org_libkelp_Kelp_RATE_FULL == KELP_RATE_FULL, "");
_Static_assert(org_libkelp_Kelp_RATE_ERASURE == KELP_RATE_ERASURE, "");

static void throw_new(JNIEnv *env, const char *name, const char *text) {
  const jclass type = (*env)->FindClass(env, name);
  if (type != NULL) (*env)->ThrowNew(env, type, text);
}

static void throw_code(JNIEnv *env, int32_t code) {
  const int no_memory = code == KELP_ERR_NO_MEMORY;
  throw_new(env, no_memory ? "java/lang/OutOfMemoryError" : "java/lang/IllegalStateException",
            kelp_result_text(code));
}

/* A handle as Java keeps it; 0 with an exception thrown. Its sign means nothing: Android tags the
 * top byte of pointers. */
static jlong create(JNIEnv *env, void *(*make)(const kelp_config *, int32_t *)) {
  static const kelp_config config = {{0, 0, 0}, 0};
  int32_t code = KELP_OK;
  void *const handle = make(&config, &code);
  if (handle == NULL) throw_code(env, code);
  return (jlong)(intptr_t)handle;
}

static void *from_java(jlong handle) {
  return (void *)(intptr_t)handle;
}

/* The bytes of a direct buffer from `position` on; null with an exception thrown. */
static uint8_t *bytes_at(JNIEnv *env, jobject buffer, jint position) {
  uint8_t *const start = (*env)->GetDirectBufferAddress(env, buffer);
  if (start == NULL) {
    throw_new(env, "java/lang/UnsupportedOperationException",
              "this virtual machine gives native code no access to direct buffers");
    return NULL;
  }
  return start + position;
}

/* As bytes_at, for samples. */
static int16_t *samples_at(JNIEnv *env, jobject pcm, jint position) {
  uint8_t *const bytes = bytes_at(env, pcm, position);
  if (bytes != NULL && (uintptr_t)bytes % sizeof(int16_t) != 0) {
    throw_new(env, "java/lang/IllegalArgumentException",
              "the samples in pcm start at an odd address: give it an even position, and slices of "
              "it an even start");
    return NULL;
  }
  return (int16_t *)(void *)bytes;
}

static void decode(JNIEnv *env, jlong decoder, kelp_packet_desc in, int16_t *samples) {
  kelp_frame_info info = {0, 0, 0};
  kelp_pcm_frame out;
  out.samples[0] = samples; /* all that the decoder reads of it */
  const int32_t code = kelpd_decode(from_java(decoder), &in, &out, &info);
  if (code != KELP_OK) throw_code(env, code);
}

JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM *vm, void *reserved) {
  (void)vm;
  (void)reserved;
  kelp_init();
  return JNI_VERSION_1_6;
}

JNIEXPORT jlong JNICALL Java_org_libkelp_Native_createEncoder(JNIEnv *env, jclass type) {
  (void)type;
  return create(env, kelpe_create);
}

JNIEXPORT jint JNICALL Java_org_libkelp_Native_encode(JNIEnv *env, jclass type, jlong encoder,
                                                      jobject pcm, jint pcm_position,
                                                      jobject packet, jint packet_position) {
  (void)type;
  kelp_packet_desc out = {bytes_at(env, packet, packet_position), 0, KELP_MAX_PACKET_BYTES};
  if (out.data == NULL) return 0;
  kelp_pcm_frame in;
  in.samples[0] = samples_at(env, pcm, pcm_position); /* all that the encoder reads of it */
  if (in.samples[0] == NULL) return 0;
  kelp_frame_info info = {0, 0, 0};
  const int32_t code = kelpe_encode(from_java(encoder), &in, &out, &info);
  if (code != KELP_OK) throw_code(env, code);
  return info.produced;
}

JNIEXPORT void JNICALL Java_org_libkelp_Native_deleteEncoder(JNIEnv *env, jclass type,
                                                             jlong encoder) {
  (void)env;
  (void)type;
  kelpe_flush(from_java(encoder));
  kelpe_delete(from_java(encoder));
}

JNIEXPORT jlong JNICALL Java_org_libkelp_Native_createDecoder(JNIEnv *env, jclass type) {
  (void)type;
  return create(env, kelpd_create);
}

JNIEXPORT void JNICALL Java_org_libkelp_Native_decode(JNIEnv *env, jclass type, jlong decoder,
                                                      jobject packet, jint packet_position,
                                                      jint packet_bytes, jobject pcm,
                                                      jint pcm_position) {
  (void)type;
  const kelp_packet_desc in = {bytes_at(env, packet, packet_position), 0, packet_bytes};
  if (in.data == NULL) return;
  int16_t *const samples = samples_at(env, pcm, pcm_position);
  if (samples != NULL) decode(env, decoder, in, samples);
}

JNIEXPORT void JNICALL Java_org_libkelp_Native_conceal(JNIEnv *env, jclass type, jlong decoder,
                                                       jobject pcm, jint pcm_position) {
  (void)type;
  uint8_t lost = KELP_RATE_ERASURE;
  const kelp_packet_desc in = {&lost, 0, sizeof lost};
  int16_t *const samples = samples_at(env, pcm, pcm_position);
  if (samples != NULL) decode(env, decoder, in, samples);
}

JNIEXPORT void JNICALL Java_org_libkelp_Native_deleteDecoder(JNIEnv *env, jclass type,
                                                             jlong decoder) {
  (void)env;
  (void)type;
  kelpd_delete(from_java(decoder));
}
