"""What GDAL sees in a project file: sizes, places, values, colours; and what it adds does no harm.

usage: gpkg_gdal_test.py PATH_OF_ZPF_SAMPLE SCRATCH_FOLDER FORMAT_DOCUMENT
"""

import array
import json
import os
import re
import shutil
import subprocess
import sys

COLUMNS, ROWS = 700, 600
VALIDATOR = '/usr/lib/python3/dist-packages/osgeo_utils/samples/validate_gpkg.py'
sample, folder, document = sys.argv[1:4]
failures = 0


def check(what, got, wanted):
    global failures
    if got != wanted:
        failures += 1
        print(f'FAILED {what}: {str(got)[:300]!r} instead of {str(wanted)[:300]!r}')


def run(*command, wanted=0):
    """Runs a program. Answers stdout and what stderr holds beyond the warning about the file's extension."""
    done = subprocess.run(command, capture_output=True, text=True)
    check(' '.join(command) + ': ' + done.stderr, done.returncode, wanted)
    noise = [line for line in done.stderr.splitlines() if line and 'non conformant file extension' not in line]
    return done.stdout, noise


def info(path, raster):
    text, noise = run('gdalinfo', '-json', f'GPKG:{path}:{raster}')
    # GDAL 3.6 itself stumbles over a raster without a reference system when it looks for its ellipsoid.
    check(f'{raster} warnings', [line for line in noise if 'proj_get_ellipsoid' not in line], [])
    return json.loads(text)


def band(path, raster, number, code):
    """All values of one band, row by row."""
    out = os.path.join(folder, 'band.bin')
    run('gdal_translate', '-q', '-of', 'ENVI', '-b', str(number), f'GPKG:{path}:{raster}', out)
    with open(out, 'rb') as file:
        return array.array(code, file.read())


def rule(column, row):
    return column * 7 + row * 13 + column * row // 64


def expected(code, value):
    return array.array(code, (value(rule(c, r), c, r) for r in range(ROWS) for c in range(COLUMNS)))


def height(null):
    return lambda v, c, r: null if v % 37 == 0 else v % 2001 - 500


def is_hole(column, row):
    return (column // 50 + row // 40) % 5 == 0


def check_values(path):
    check('heights', band(path, 'Heights', 1, 'h') == expected('h', height(-32768)), True)
    scaled = band(path, 'Scaled', 1, 'f')
    wanted = expected('f', lambda v, c, r: 0 if v % 37 == 0 else (v % 2001 - 500) * 0.25 + 100)
    differ = [i for i in range(len(wanted)) if wanted[i] != 0 and scaled[i] != wanted[i]]
    check('scaled heights', differ, [])
    check('counts', band(path, 'Counts', 1, 'H') == expected('H', lambda v, c, r: v % 60001), True)
    check('exact', band(path, 'Exact', 1, 'f') == expected('f', lambda v, c, r: v / 8 - 1000), True)
    check('tilted', band(path, 'Tilted', 1, 'h') == expected('h', height(-32768)), True)
    for raster in ('Lossless', 'Blue_first'):
        for k in range(3):
            wanted = expected('B', lambda v, c, r: (v + 50 * k) % 251)
            check(f'{raster} band {k}', band(path, raster, k + 1, 'B') == wanted, True)
    check('holes', band(path, 'Holes', 4, 'B') == expected('B', lambda v, c, r: 0 if is_hole(c, r) else 255), True)
    check('grey', band(path, 'Grey', 1, 'B') == expected('B', lambda v, c, r: v % 251), True)
    colors = [lambda i: i * 5, lambda i: i * 2, lambda i: 0xFF - i * 3]
    if len(info(path, 'Classes')['bands']) >= 3:
        for k, color in enumerate(colors):
            wanted = expected('B', lambda v, c, r: color(v % 40))
            check(f'classes band {k}', band(path, 'Classes', k + 1, 'B') == wanted, True)
    else:
        check('classes', band(path, 'Classes', 1, 'B') == expected('B', lambda v, c, r: v % 40), True)
    for k in range(3):
        values = band(path, 'Land', k + 1, 'B')
        worst = max(abs(values[r * COLUMNS + c] - ((c // 4 + r // 8 + k * 9) // 2 + 60))
                    for r in range(0, ROWS, 7) for c in range(0, COLUMNS, 5))
        check(f'JPEG band {k} within 6 (worst {worst})', worst <= 6, True)


def check_headers(path):
    for raster in ('Heights', 'Scaled', 'Counts', 'Exact', 'Land', 'Lossless', 'Holes', 'Classes', 'Grey',
                   'Blue_first', 'Tilted'):
        said = info(path, raster)
        check(f'{raster} size', said['size'], [COLUMNS, ROWS])
        place = {'Counts': [-10, 0.01, 0, 50, 0, -0.01], 'Tilted': [0, 1, 0, 0, 0, -1]}.get(
            raster, [400000, 30, 0, 5600000, 0, -20])
        check(f'{raster} place', [round(v, 9) for v in said['geoTransform']], place)
        system = said.get('coordinateSystem', {}).get('wkt', '')
        name = {'Counts': 'ID["EPSG",4326]', 'Exact': 'Lambert Conic Conformal', 'Tilted': ''}.get(
            raster, 'ID["EPSG",32633]')
        check(f'{raster} system', name in system, True)
    heights = info(path, 'Heights')['bands'][0]
    check('heights type', heights['type'], 'Int16')
    check('heights null', heights['noDataValue'], -32768)
    check('heights range', (heights['min'], heights['max']), (-500, 1500))
    scaled = info(path, 'Scaled')['bands'][0]
    check('scaled range', (scaled['min'], scaled['max']), (-25, 475))
    check('overviews', [v['size'] for v in info(path, 'Land')['bands'][0]['overviews']], [[350, 300]])


def check_additions(path):
    """A GIS adds a vector layer and a raster: the project file stays one, and as it was."""
    points = os.path.join(folder, 'points.csv')
    with open(points, 'w') as file:
        file.write('id,WKT\n1,POINT(400010 5599990)\n2,POINT(400500 5599000)\n')
    run('ogr2ogr', '-append', '-f', 'GPKG', '-nln', 'points', '-a_srs', 'EPSG:32633', path, points)
    run('gdal_translate', '-q', '-of', 'GPKG', '-co', 'APPEND_SUBDATASET=YES', '-co', 'RASTER_TABLE=extra',
        f'GPKG:{path}:Heights', os.path.join(folder, 'extra.gpkg'))
    run('gdal_translate', '-q', '-of', 'GPKG', '-co', 'APPEND_SUBDATASET=YES', '-co', 'RASTER_TABLE=extra',
        os.path.join(folder, 'extra.gpkg'), path)
    listed, noise = run('ogrinfo', path)
    check('ogrinfo warnings after additions', noise, [])
    check('layer listed', 'points' in listed, True)
    check('store tables stay hidden', 'zpf_tile' in listed, False)
    run(sample, 'check', path)


def check_example():
    """The document's example writes a file that opens, with the terrain that it promises."""
    with open(document, encoding='utf-8') as file:
        blocks = re.findall(r'^```(sql|python)\n(.*?)^```', file.read(), re.M | re.S)
    for language, text in blocks:
        with open(os.path.join(folder, {'sql': 'schema.sql', 'python': 'example.py'}[language]), 'w') as file:
            file.write(text)
    done = subprocess.run([sys.executable, 'example.py'], cwd=folder, capture_output=True, text=True)
    check('example: ' + done.stderr, done.returncode, 0)
    lines = run(sample, 'list', os.path.join(folder, 'example.sim'))[0].splitlines()
    check('example', lines, ['1 Height 257 x 257, middle cell 900', '2 Land 512 x 512, middle cell 210'])


def main():
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    path = os.path.join(folder, 'sample.sim')
    run(sample, 'write', path)
    run(sample, 'check', path)
    check('ogrinfo warnings', run('ogrinfo', path)[1], [])
    check_headers(path)
    check_values(path)
    valid = os.path.join(folder, 'valid.gpkg')
    shutil.copy(path, valid)
    if os.path.exists(VALIDATOR):
        check('validator', run('/usr/bin/python3', VALIDATOR, '-k', '--extra', valid), ('', []))
    else:
        print('no GeoPackage validator here: skipped')
    # A GeoPackage of another program opens, with nothing in it for us.
    plain = os.path.join(folder, 'extra.gpkg')
    check_additions(path)
    check('plain GeoPackage', run(sample, 'list', plain)[0], '')
    check_example()
    if failures == 0:
        print('ok')
    return min(failures, 1)


if __name__ == '__main__':
    sys.exit(main())
