#!/usr/bin/env bash
# The Python binding: its own tests, and the example.
. "$(dirname "$0")/common.sh"
export PCI_TARN_LIBRARY=$build/lib/libpci_tarn.so PYTHONPATH=$source_dir/bindings/python \
    PYTHONDONTWRITEBYTECODE=1
start_card
/usr/bin/python3 "$source_dir/tests/package/python_test.py" 2>&1 || fail "python_test.py"
expect_first_light /usr/bin/python3 "$source_dir/examples/first_light.py"
expect_output 1 "PCI_TARN_LIBRARY may name the library file" \
    env PCI_TARN_LIBRARY=/nowhere.so /usr/bin/python3 -c 'import pci_tarn'
echo "The Python binding works."
