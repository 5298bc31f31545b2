# SPDX-License-Identifier: LGPL-2.1-or-later
#
# The virtual cameras, and what each is expected to say of itself. The test acceptance.models fails
# when a model is missing here.

set(TAVO_ACCEPTANCE_MODELS
    basin-a basin-b basin-c
    ridge-a ridge-b ridge-c ridge-d ridge-e ridge-v
    heron-a heron-b heron-c
    glint-c glint-m
    lumen-a lumen-b lumen-c)

set(expect_basin-a --family basin --pixels 1391x1039 --pixel-size 4.65 --colour mono
    --shutter 0 --filters 0 --guide 0 --cooler setpoint)
set(expect_basin-b --family basin --pixels 752x580 --pixel-size 8.6 --colour mono
    --shutter 0 --filters 0 --guide 0 --cooler power)
set(expect_basin-c --family basin --pixels 656x492 --pixel-size 7.4 --colour 0,1
    --shutter 0 --filters 0 --guide 0 --cooler none)
set(expect_ridge-a --family ridge --pixels 768x512 --pixel-size 9 --colour mono
    --shutter 1 --filters 0 --guide 1 --cooler power)
set(expect_ridge-b --family ridge --pixels 1360x1024 --pixel-size 4.65 --colour mono
    --shutter 0 --filters 0 --guide 0 --cooler onoff)
set(expect_ridge-c --family ridge --pixels 1392x1040 --pixel-size 6.45 --colour mono
    --shutter 1 --filters 5 --guide 1 --cooler setpoint)
set(expect_ridge-d --family ridge --pixels 2048x2040 --pixel-size 7.4 --colour 1,0
    --shutter 1 --filters 0 --guide 1 --cooler setpoint)
set(expect_ridge-e --family ridge --pixels 3326x2504 --pixel-size 5.4 --colour mono
    --shutter 1 --filters 5 --guide 1 --cooler setpoint)
set(expect_ridge-v --family ridge --pixels 4499x3599 --pixel-size 6 --colour mono
    --shutter 1 --filters 7 --guide 1 --cooler setpoint)
set(expect_heron-a --family heron --pixels 640x480 --pixel-size 7.4 --colour mono
    --shutter 0 --filters 0 --guide 1 --cooler none)
set(expect_heron-b --family heron --pixels 1392x1040 --pixel-size 6.5 --colour 0,0
    --shutter 0 --filters 0 --guide 1 --cooler none)
set(expect_heron-c --family heron --pixels 512x512 --pixel-size 20 --colour mono
    --shutter 0 --filters 0 --guide 0 --cooler none)
# No register of this family tells of a mosaic.
set(expect_glint-c --family glint --pixels 1280x960 --pixel-size 3.75 --colour mono --mosaic 0,0
    --shutter 0 --filters 0 --guide 0 --cooler none)
set(expect_glint-m --family glint --pixels 1280x960 --pixel-size 3.75 --colour mono
    --shutter 0 --filters 0 --guide 0 --cooler none)
set(expect_lumen-a --family lumen --pixels 3326x2504 --pixel-size 5.4 --colour mono
    --shutter 0 --filters 5 --guide 1 --cooler setpoint --gpio 8 --8-bit 1)
set(expect_lumen-b --family lumen --pixels 640x480 --pixel-size 7.4 --colour mono
    --shutter 0 --filters 0 --guide 1 --cooler none --gpio 0 --8-bit 0)
set(expect_lumen-c --family lumen --pixels 1600x1200 --pixel-size 7.4 --colour 0,1
    --shutter 0 --filters 0 --guide 0 --cooler setpoint --8-bit 1)
